#include "config/Config_Document.h"

#include "base/Secret_Text.h"
#include "xml/Xerces_XercesString.h"

#include <algorithm>

namespace {

constexpr std::size_t LongestQuoted = 80;
constexpr std::size_t LongestReason = 300;

/// Neither line ends nor terminal escapes get from a file into a message.
std::string printable(const std::string& text, std::size_t longest) {
    std::string shown = text.substr(0, longest);
    std::replace_if(
        shown.begin(), shown.end(), [](unsigned char c) { return c < ' ' || c == 0x7f; }, '?');
    return shown.size() < text.size() ? shown + "..." : shown;
}

} // namespace

std::string Config_Quoted(const std::string& text) {
    return '"' + printable(text, LongestQuoted) + '"';
}

Xerces_DocumentPtr Config_ParseDocument(const xercesc::InputSource& source, const char* rootName) {
    std::string reason;
    Xerces_DocumentPtr document = Xerces_Parse(source, &reason);
    if (!document)
        throw XMLSerializable_Refusal("not an XML document: " + printable(reason, LongestReason));
    const xercesc::DOMElement* root = Xerces_Root(*document);
    const std::string found = root == nullptr ? std::string() : Xerces_TagName(*root);
    if (found != rootName)
        throw XMLSerializable_Refusal("the root element is " + Config_Quoted(found) + "; expected " +
                                      Config_Quoted(rootName));
    return document;
}

XMLSerializable_Refusal Config_UnknownVersion(const xercesc::DOMElement& root, const char* expected) {
    return XMLSerializable_Refusal(Xerces_TagName(root) + ": attribute \"version\" is " +
                                   Config_Quoted(Xerces_GetAttribute(root, "version")) + "; expected " +
                                   expected);
}

xercesc::DOMElement& Config_OnlyElement(const xercesc::DOMElement& parent, const char* name) {
    const auto found = Xerces_Descendants(parent, name, 2);
    if (found.size() != 1)
        throw XMLSerializable_Refusal(Xerces_TagName(parent) + ": " +
                                      (found.empty() ? "no" : "more than one") + " element " +
                                      Config_Quoted(name) + "; expected exactly one");
    return *found.front();
}

void Config_GiveDocument(const xercesc::DOMDocument& document, char*& buffer, unsigned& length) {
    const Secret_Text text = Secret_Text::take(Xerces_Serialize(document)); // agent.conf holds a password
    if (text.empty())
        throw std::runtime_error("the document cannot be written as text");
    buffer = nxNewText(text.view());
    length = static_cast<unsigned>(text.size());
}
