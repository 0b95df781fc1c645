#include "qdvctl/Ctl_Node.h"

#include "xml/Xerces_Document.h"
#include "xml/Xerces_Text.h"

#include <xercesc/dom/DOM.hpp>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr std::string_view whiteSpace = " \t\r\n";

std::string bytes(const XMLCh* text) {
    return text == nullptr ? std::string() : Xerces_ToBytes(text);
}

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(whiteSpace);
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(whiteSpace) - first + 1);
}

bool isCharacterData(const xercesc::DOMNode& node) {
    return node.getNodeType() == xercesc::DOMNode::TEXT_NODE ||
           node.getNodeType() == xercesc::DOMNode::CDATA_SECTION_NODE;
}

} // namespace

const std::string* Ctl_Node::attribute(std::string_view wanted) const {
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [&](const auto& attribute) { return attribute.first == wanted; });
    return found == attributes.end() ? nullptr : &found->second;
}

std::string Ctl_Node::word(std::string_view attributeName) const {
    const std::string* value = attribute(attributeName);
    return value == nullptr ? std::string() : *value;
}

std::uint64_t Ctl_Node::number(std::string_view attributeName) const {
    const std::string* value = attribute(attributeName);
    return value == nullptr ? 0 : std::strtoull(value->c_str(), nullptr, 10);
}

std::string Ctl_Node::ownText() const {
    std::string joined;
    for (const Ctl_Node& child : children)
        if (child.isText())
            joined += child.text;
    return trimmed(joined);
}

bool Ctl_Node::hasElements() const {
    return std::any_of(children.begin(), children.end(),
                       [](const Ctl_Node& child) { return !child.isText(); });
}

Ctl_Node& Ctl_Node::add(std::string elementName,
                        std::vector<std::pair<std::string, std::string>> elementAttributes) {
    return children.emplace_back(Ctl_Node{std::move(elementName), {}, std::move(elementAttributes), {}});
}

const Ctl_Node* Ctl_FindElement(const std::vector<Ctl_Node>& nodes, std::string_view name) {
    const auto found =
        std::find_if(nodes.begin(), nodes.end(), [&](const Ctl_Node& node) { return node.name == name; });
    return found == nodes.end() ? nullptr : &*found;
}

Ctl_Node Ctl_TextElement(std::string name, std::string text) {
    Ctl_Node element{std::move(name), {}, {}, {}};
    element.children.push_back(Ctl_Node{{}, std::move(text), {}, {}});
    return element;
}

Ctl_Node Ctl_ReadElement(const xercesc::DOMElement& element) {
    Ctl_Node node{Xerces_TagName(element), {}, {}, {}};
    const xercesc::DOMNamedNodeMap* attributes = element.getAttributes();
    for (XMLSize_t i = 0; i < attributes->getLength(); ++i) {
        const xercesc::DOMNode* attribute = attributes->item(i);
        node.attributes.emplace_back(bytes(attribute->getNodeName()), bytes(attribute->getNodeValue()));
    }
    for (const xercesc::DOMNode* child = element.getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        if (isCharacterData(*child))
            node.children.push_back(Ctl_Node{{}, bytes(child->getNodeValue()), {}, {}});
        else if (child->getNodeType() == xercesc::DOMNode::ELEMENT_NODE)
            node.children.push_back(Ctl_ReadElement(static_cast<const xercesc::DOMElement&>(*child)));
    }
    return node;
}

void Ctl_WriteNode(xercesc::DOMElement& parent, const Ctl_Node& node) {
    if (node.isText()) {
        Xerces_AppendText(parent, node.text);
        return;
    }
    xercesc::DOMElement& element = Xerces_AppendElement(parent, node.name.c_str());
    for (const auto& [name, value] : node.attributes)
        Xerces_SetAttribute(element, name.c_str(), value);
    for (const Ctl_Node& child : node.children)
        Ctl_WriteNode(element, child);
}
