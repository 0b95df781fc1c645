#include "xml/Xerces_Parser.h"

#include "xml/Xerces_Memory.h"
#include "xml/Xerces_Text.h"

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

#include <algorithm>
#include <iterator>
#include <new>
#include <stdexcept>
#include <string_view>

namespace {

/// What the library may hold for one document. Text takes twice its size, but the shortest element, of 4
/// bytes, takes 180, and the shortest attribute 300: the largest body would otherwise take the host's memory.
constexpr std::size_t maximumMemory = 536'870'912;

/// The library finds names in a table of fixed size, so each new one costs as much as there are already:
/// 300,000 names in a text of 3 MB take half a minute.
constexpr std::size_t maximumNames = 10'000;

/// So many names are not looked at: the common document is smaller, and they cannot be too many.
constexpr std::size_t uncountedNames = 1'000;

/// What ends a parse from inside.
class Refusal : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string describe(const xercesc::SAXParseException& problem) {
    return "line " + std::to_string(problem.getLineNumber()) + ", column " +
           std::to_string(problem.getColumnNumber()) + ": " + Xerces_ToBytes(problem.getMessage());
}

/// Under their registered names. Others are a way past those who look at the bytes, or are read by a
/// converter that lets broken text through.
constexpr std::u16string_view acceptedEncodings[] = {
    u"UTF-8", u"US-ASCII", u"ISO-8859-1", u"WINDOWS-1252", u"UTF-16", u"UTF-16BE", u"UTF-16LE",
};

bool isAccepted(const XMLCh* encoding) {
    return std::any_of(std::begin(acceptedEncodings), std::end(acceptedEncodings),
                       [encoding](std::u16string_view accepted) {
                           return xercesc::XMLString::compareIStringASCII(encoding, accepted.data()) == 0;
                       });
}

/// Without a handler the library ends a document at its first fatal error and says nothing.
class FatalErrors : public xercesc::ErrorHandler {
public:
    void warning(const xercesc::SAXParseException&) override {}
    void error(const xercesc::SAXParseException&) override {}
    void fatalError(const xercesc::SAXParseException& problem) override { throw Refusal(describe(problem)); }
    void resetErrors() override {}
};

FatalErrors fatalErrors;

} // namespace

Xerces_Parser::Xerces_Parser() {
    useScanner(xercesc::XMLUni::fgDGXMLScanner);
    setValidationScheme(xercesc::XercesDOMParser::Val_Never);
    setDoNamespaces(false);
    setDoSchema(false);
    setLoadExternalDTD(false);
    setDisableDefaultEntityResolution(true);
    setErrorHandler(&fatalErrors);
}

Xerces_Parser::~Xerces_Parser() = default;

Xerces_DocumentPtr Xerces_Parser::run(const xercesc::InputSource& source, std::string* reason) {
    std::string why;
    depth_ = 0;
    namesSeen_ = 0;
    names_.clear();
    const Xerces_MemoryLimit limit(maximumMemory);
    try {
        parse(source);
        Xerces_DocumentPtr document{adoptDocument()};
        if (document && isAccepted(document->getInputEncoding()))
            return document;
        why = document ? "the encoding is not accepted" : "no document";
    } catch (const Refusal& refusal) {
        why = refusal.what();
    } catch (const xercesc::SAXException& problem) {
        why = Xerces_ToBytes(problem.getMessage());
    } catch (const xercesc::XMLException& problem) {
        why = Xerces_ToBytes(problem.getMessage());
    } catch (const xercesc::DOMException& problem) {
        why = Xerces_ToBytes(problem.getMessage());
    } catch (const xercesc::OutOfMemoryException&) {
        why = Xerces_OutOfMemory;
    } catch (const std::bad_alloc&) {
        why = Xerces_OutOfMemory;
    } catch (...) {
        why = "the parser failed";
    }
    // The library quotes the bytes that it cannot read.
    std::replace_if(
        why.begin(), why.end(), [](unsigned char byte) { return byte < 0x20 || byte == 0x7f; }, '?');
    if (reason != nullptr)
        *reason = why;
    return nullptr;
}

void Xerces_Parser::XMLDecl(const XMLCh* version, const XMLCh* encoding, const XMLCh* standalone,
                            const XMLCh* actualEncoding) {
    if (encoding != nullptr && *encoding != 0 && !isAccepted(encoding))
        throw Refusal("the encoding \"" + Xerces_ToBytes(encoding) + "\" is not accepted");
    XercesDOMParser::XMLDecl(version, encoding, standalone, actualEncoding);
}

void Xerces_Parser::doctypeDecl(const xercesc::DTDElementDecl&, const XMLCh*, const XMLCh*, bool, bool) {
    throw Refusal("a DOCTYPE is not accepted");
}

void Xerces_Parser::startElement(const xercesc::XMLElementDecl& declaration, unsigned int urlId,
                                 const XMLCh* prefix, const Attributes& attributes, XMLSize_t attributeCount,
                                 bool isEmpty, bool isRoot) {
    if (++depth_ > Xerces_MaximumDepth)
        throw Refusal("elements are nested too deep");
    namesSeen_ += 1 + attributeCount;
    if (namesSeen_ > uncountedNames) {
        countName(declaration.getFullName());
        for (XMLSize_t i = 0; i < attributeCount; ++i)
            countName(attributes.elementAt(i)->getQName());
    }
    XercesDOMParser::startElement(declaration, urlId, prefix, attributes, attributeCount, isEmpty, isRoot);
}

void Xerces_Parser::endElement(const xercesc::XMLElementDecl& declaration, unsigned int urlId, bool isRoot,
                               const XMLCh* prefix) {
    --depth_;
    XercesDOMParser::endElement(declaration, urlId, isRoot, prefix);
}

void Xerces_Parser::countName(const XMLCh* name) {
    names_.emplace(name);
    if (names_.size() > maximumNames)
        throw Refusal("too many different names");
}
