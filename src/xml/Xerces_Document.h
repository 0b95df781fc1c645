#pragma once

#include "xml/Xerces_Types.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The small operations that everything above does with a DOM, and the one road from outside text to a
/// document.
///
/// In memory text is bytes, in a document it is XML. Bytes are read as UTF-8; a byte that is not part of
/// valid UTF-8 and a control character that XML 1.0 cannot carry become one code point of U+EF00 to U+EFFF
/// (U+EF00 plus the byte) and come back as that byte, so any byte string without zero bytes survives the way
/// there and back. A document and its elements belong to one thread at a time. Exceptions of the library do
/// not leave this folder unless an operation says so: operations that build throw std::runtime_error or
/// std::bad_alloc.

struct Xerces_DocumentReleaser {
    void operator()(xercesc::DOMDocument* document) const;
};
using Xerces_DocumentPtr = std::unique_ptr<xercesc::DOMDocument, Xerces_DocumentReleaser>;

/// Elements nested deeper than this make a document a parse failure.
constexpr unsigned Xerces_MaximumDepth = 1000;

/// Parses hostile text: no validation, no namespaces, no DTD, no external entities, bounded depth. Null if
/// the text is not a document; then `reason`, if given, gets one line for a person (position and cause).
/// `bufferId` names the source in such messages.
Xerces_DocumentPtr Xerces_Parse(std::string_view text, const char* bufferId, std::string* reason = nullptr);
Xerces_DocumentPtr Xerces_Parse(const xercesc::InputSource& source, std::string* reason = nullptr);

/// A new document with a root element of that name. Throws if it cannot be made.
Xerces_DocumentPtr Xerces_CreateDocument(const char* rootName);
/// The root of a document; null if there is none.
xercesc::DOMElement* Xerces_Root(const xercesc::DOMDocument& document);

std::string Xerces_TagName(const xercesc::DOMElement& element);
/// The attribute's value; empty if it is absent. Absent and empty are nowhere told apart.
std::string Xerces_GetAttribute(const xercesc::DOMElement& element, const char* name);
void Xerces_SetAttribute(xercesc::DOMElement& element, const char* name, std::string_view value);

/// Makes an element and appends it as the last child of `parent`. The document owns it.
xercesc::DOMElement& Xerces_AppendElement(xercesc::DOMElement& parent, const char* name);
/// Appends the elements that the text is a row of, and gives their number. Throws if it is anything else than
/// elements of that name; some may hang on `parent` by then. `bufferId` as for Xerces_Parse.
std::size_t Xerces_AppendParsed(xercesc::DOMElement& parent, std::string_view text, const char* name,
                                const char* bufferId);
/// Appends a text node.
void Xerces_AppendText(xercesc::DOMElement& parent, std::string_view text);

/// The children that are elements, in document order; with a name, only those of that name.
std::vector<xercesc::DOMElement*> Xerces_ChildElements(const xercesc::DOMElement& parent,
                                                       const char* name = nullptr);
/// Elements of that name below `parent` at any depth, in document order; "*" stands for every name. At most
/// `limit` are looked for, so that counting to two does not cost a walk over a large document.
std::vector<xercesc::DOMElement*> Xerces_Descendants(const xercesc::DOMElement& parent, const char* name,
                                                     std::size_t limit = static_cast<std::size_t>(-1));
/// The first of them, or null.
xercesc::DOMElement* Xerces_FirstDescendant(const xercesc::DOMElement& parent, const char* name);
bool Xerces_HasChild(const xercesc::DOMElement& element);
/// The node value of the first child, whatever its kind; nothing if there is no child or it has no value.
std::optional<std::string> Xerces_FirstText(const xercesc::DOMElement& element);

/// The whole document as UTF-8 with the library's XML declaration, without pretty-printing. Empty on failure.
std::string Xerces_Serialize(const xercesc::DOMDocument& document);
