#pragma once

#include "xml/Xerces_Types.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A piece of a document as plain values: an element, or, if it has no name, a run of text. What is shown,
/// sent and received passes through this form, so that rendering needs no document. Texts are bytes of any
/// kind.
struct Ctl_Node {
    std::string name;
    std::string text; ///< of a run of text; an element keeps its text in children
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<Ctl_Node> children;

    bool isText() const { return name.empty(); }
    /// Null if there is none of that name.
    const std::string* attribute(std::string_view wanted) const;
    /// The same as text, empty if there is none, and as a whole number, then 0.
    std::string word(std::string_view attributeName) const;
    std::uint64_t number(std::string_view attributeName) const;
    /// The text directly below an element, without white space around it.
    std::string ownText() const;
    bool hasElements() const;
    /// Appends an element with these attributes and returns it; valid until the next is added.
    Ctl_Node& add(std::string elementName,
                  std::vector<std::pair<std::string, std::string>> elementAttributes = {});
};

/// The first element of that name; null if there is none.
const Ctl_Node* Ctl_FindElement(const std::vector<Ctl_Node>& nodes, std::string_view name);

/// An element with one text, such as a method's parameter.
Ctl_Node Ctl_TextElement(std::string name, std::string text);

/// Comments and processing instructions are left out, character data sections become text.
Ctl_Node Ctl_ReadElement(const xercesc::DOMElement& element);
/// Appends the node as the last child of `parent`.
void Ctl_WriteNode(xercesc::DOMElement& parent, const Ctl_Node& node);
