#include "xml/Xerces_Document.h"

#include "xml/Xerces_Memory.h"
#include "xml/Xerces_ParserPool.h"
#include "xml/Xerces_Serializer.h"
#include "xml/Xerces_Text.h"
#include "xml/Xerces_XercesString.h"

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/dom/DOMText.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/XMLException.hpp>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <optional>
#include <stdexcept>

namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;

/// A parser for a text of more than this is not kept: its buffers have grown with the document.
constexpr std::size_t largestKept = 262'144;

/// While it is parsed a text takes ten times its size and more, so large ones take turns: several together
/// would meet the bound over all requests, and each of them is honest.
constexpr std::size_t largestBesideOthers = std::size_t{1024} * 1024;
constexpr std::chrono::seconds longestWaitForTurn(60);

/// The turn of a large text, held while it is parsed. Throws std::bad_alloc if it does not come.
class LargeTextTurn {
public:
    LargeTextTurn() {
        std::unique_lock lock(mutex);
        if (!freed.wait_for(lock, longestWaitForTurn, [] { return !isTaken; }))
            throw std::bad_alloc();
        isTaken = true;
    }
    LargeTextTurn(const LargeTextTurn&) = delete;
    LargeTextTurn& operator=(const LargeTextTurn&) = delete;
    ~LargeTextTurn() {
        const std::lock_guard lock(mutex);
        isTaken = false;
        freed.notify_one();
    }

private:
    static inline std::mutex mutex;
    static inline std::condition_variable freed;
    static inline bool isTaken = false;
};

/// Runs something that builds, with the library's exceptions turned into those that leave this folder.
template <typename Build>
auto building(Build build) {
    try {
        return build();
    } catch (const xercesc::OutOfMemoryException&) {
        throw std::bad_alloc();
    } catch (const xercesc::DOMException& problem) {
        throw std::runtime_error("XML: " + Xerces_ToBytes(problem.getMessage()));
    } catch (const xercesc::XMLException& problem) {
        throw std::runtime_error("XML: " + Xerces_ToBytes(problem.getMessage()));
    }
}

/// A parser that cannot even be made is a document that cannot be parsed.
template <typename Parse>
Xerces_DocumentPtr parsing(std::string* reason, Parse parse) {
    try {
        return building(parse);
    } catch (const std::bad_alloc&) {
        if (reason != nullptr)
            *reason = Xerces_OutOfMemory;
        return nullptr;
    }
}

bool isElement(const DOMNode& node) {
    return node.getNodeType() == DOMNode::ELEMENT_NODE;
}

/// Which elements a walk is for: those of one name, or all.
class NameTest {
public:
    explicit NameTest(const char* name) : name_(name) {}

    bool operator()(const DOMNode& node) const {
        return isElement(node) && (name_.unicodeForm() == nullptr ||
                                   std::u16string_view(name_.unicodeForm()) == node.getNodeName());
    }

private:
    Xerces_XercesString name_;
};

/// The node behind `node` in document order that lies below `top`; null at the end.
DOMNode* following(DOMNode* node, const DOMNode& top) {
    if (DOMNode* child = node->getFirstChild())
        return child;
    while (node != &top) {
        if (DOMNode* sibling = node->getNextSibling())
            return sibling;
        node = node->getParentNode();
    }
    return nullptr;
}

/// Bytes that begin a code point above U+10FFFF. The library's reader takes such a one for a character.
bool goesBeyondUnicode(std::string_view text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        if (byte < 0xF4)
            continue;
        const auto next = static_cast<unsigned char>(at + 1 < text.size() ? text[at + 1] : '\0');
        if (byte > 0xF4 || next > 0x8F)
            return true;
    }
    return false;
}

bool isReadAsUtf8(const xercesc::DOMDocument& document) {
    return Xerces_ToBytes(document.getInputEncoding()) == "UTF-8";
}

} // namespace

void Xerces_DocumentReleaser::operator()(xercesc::DOMDocument* document) const {
    document->release();
}

Xerces_DocumentPtr Xerces_Parse(std::string_view text, const char* bufferId, std::string* reason) {
    return parsing(reason, [&] {
        std::optional<LargeTextTurn> turn;
        if (text.size() > largestBesideOthers)
            turn.emplace();
        const bool kept = text.size() <= largestKept && !Xerces_MemoryWipe::isWanted();
        std::unique_ptr<Xerces_Parser> parser =
            kept ? Xerces_Parsers().take() : std::make_unique<Xerces_Parser>();
        const Xerces_XercesString id(bufferId);
        const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(),
                                                id.unicodeForm());
        Xerces_DocumentPtr document = parser->run(source, reason);
        if (document && goesBeyondUnicode(text) && isReadAsUtf8(*document)) {
            document.reset();
            if (reason != nullptr)
                *reason = "the text is not UTF-8";
        }
        if (document && kept)
            Xerces_Parsers().giveBack(std::move(parser));
        return document;
    });
}

Xerces_DocumentPtr Xerces_Parse(const xercesc::InputSource& source, std::string* reason) {
    return parsing(reason, [&] { return Xerces_Parser().run(source, reason); });
}

Xerces_DocumentPtr Xerces_CreateDocument(const char* rootName) {
    return building([&] {
        static constexpr char16_t features[] = u"LS";
        xercesc::DOMImplementation* implementation =
            xercesc::DOMImplementationRegistry::getDOMImplementation(features);
        return Xerces_DocumentPtr(
            implementation->createDocument(nullptr, Xerces_XercesString(rootName).unicodeForm(), nullptr));
    });
}

DOMElement* Xerces_Root(const xercesc::DOMDocument& document) {
    return document.getDocumentElement();
}

std::string Xerces_TagName(const DOMElement& element) {
    return Xerces_ToBytes(element.getTagName());
}

std::string Xerces_GetAttribute(const DOMElement& element, const char* name) {
    return Xerces_ToBytes(element.getAttribute(Xerces_XercesString(name).unicodeForm()));
}

void Xerces_SetAttribute(DOMElement& element, const char* name, std::string_view value) {
    building([&] {
        element.setAttribute(Xerces_XercesString(name).unicodeForm(),
                             Xerces_XercesString(value).unicodeForm());
    });
}

DOMElement& Xerces_AppendElement(DOMElement& parent, const char* name) {
    DOMElement* child = building([&] {
        DOMElement* made = parent.getOwnerDocument()->createElement(Xerces_XercesString(name).unicodeForm());
        parent.appendChild(made);
        return made;
    });
    return *child;
}

void Xerces_AppendText(DOMElement& parent, std::string_view text) {
    building([&] {
        parent.appendChild(
            parent.getOwnerDocument()->createTextNode(Xerces_XercesString(text).unicodeForm()));
    });
}

std::size_t Xerces_AppendParsed(DOMElement& parent, std::string_view text, const char* name,
                                const char* bufferId) {
    constexpr std::string_view begin = "<Elements>";
    constexpr std::string_view end = "</Elements>";
    std::string whole;
    whole.reserve(begin.size() + text.size() + end.size());
    whole.append(begin).append(text).append(end);
    std::string reason;
    const Xerces_DocumentPtr document = Xerces_Parse(whole, bufferId, &reason);
    if (!document)
        throw std::runtime_error(reason);
    return building([&] {
        const NameTest isWanted(name);
        std::size_t count = 0;
        for (const DOMNode* node = Xerces_Root(*document)->getFirstChild(); node != nullptr;
             node = node->getNextSibling(), ++count) {
            if (!isWanted(*node))
                throw std::runtime_error(std::string("something else than elements ") + name);
            parent.appendChild(parent.getOwnerDocument()->importNode(node, true));
        }
        return count;
    });
}

std::vector<DOMElement*> Xerces_ChildElements(const DOMElement& parent, const char* name) {
    const NameTest wanted(name);
    std::vector<DOMElement*> found;
    for (DOMNode* node = parent.getFirstChild(); node != nullptr; node = node->getNextSibling()) {
        if (wanted(*node))
            found.push_back(static_cast<DOMElement*>(node));
    }
    return found;
}

std::vector<DOMElement*> Xerces_Descendants(const DOMElement& parent, const char* name, std::size_t limit) {
    const NameTest wanted(std::string_view(name) == "*" ? nullptr : name);
    std::vector<DOMElement*> found;
    for (DOMNode* node = parent.getFirstChild(); node != nullptr && found.size() < limit;
         node = following(node, parent)) {
        if (wanted(*node))
            found.push_back(static_cast<DOMElement*>(node));
    }
    return found;
}

DOMElement* Xerces_FirstDescendant(const DOMElement& parent, const char* name) {
    const std::vector<DOMElement*> first = Xerces_Descendants(parent, name, 1);
    return first.empty() ? nullptr : first.front();
}

bool Xerces_HasChild(const DOMElement& element) {
    return element.hasChildNodes();
}

std::optional<std::string> Xerces_FirstText(const DOMElement& element) {
    const DOMNode* child = element.getFirstChild();
    const XMLCh* value = child == nullptr ? nullptr : child->getNodeValue();
    if (value == nullptr)
        return std::nullopt;
    return Xerces_ToBytes(value);
}

std::string Xerces_Serialize(const xercesc::DOMDocument& document) {
    return building([&] { return Xerces_SerializeNode(document); });
}
