#include "xml/Xerces_Serializer.h"

#include "xml/Xerces_Text.h"

#include <xercesc/dom/DOMNamedNodeMap.hpp>
#include <xercesc/dom/DOMNode.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace {

using xercesc::DOMNode;

constexpr std::string_view declaration = R"(<?xml version="1.0" encoding="UTF-8" standalone="no" ?>)";
/// A reply without results fits.
constexpr std::size_t initialCapacity = 1024;

std::string_view attributeEscape(char16_t c) {
    switch (c) {
    case u'&':
        return "&amp;";
    case u'<':
        return "&lt;";
    case u'"':
        return "&quot;";
    case u'\t':
        return "&#x9;";
    case u'\n':
        return "&#xA;";
    case u'\r':
        return "&#xD;";
    default:
        return {};
    }
}

std::string_view textEscape(char16_t c) {
    switch (c) {
    case u'&':
        return "&amp;";
    case u'<':
        return "&lt;";
    case u'>':
        return "&gt;";
    case u'\r':
        return "&#xD;";
    default:
        return {};
    }
}

std::u16string_view view(const XMLCh* text) {
    return text == nullptr ? std::u16string_view() : text;
}

template <typename Escape>
void appendEscaped(std::string& out, std::u16string_view text, Escape escape) {
    std::size_t written = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::string_view entity = escape(text[at]);
        if (entity.empty())
            continue;
        Xerces_AppendUtf8(out, text.substr(written, at - written));
        out += entity;
        written = at + 1;
    }
    Xerces_AppendUtf8(out, text.substr(written));
}

/// Bytes that stand in an attribute as themselves, whatever follows them.
constexpr std::array<bool, 256> plainInAttribute = [] {
    std::array<bool, 256> plain{};
    for (unsigned char byte = 0x20; byte < 0x7F; ++byte)
        plain.at(byte) = byte != '&' && byte != '<' && byte != '"';
    return plain;
}();

class Writer {
public:
    Writer() { out_.reserve(initialCapacity); }

    void write(const DOMNode& top) {
        const DOMNode* node = &top;
        for (;;) {
            open(*node);
            if (const DOMNode* child = node->getFirstChild()) {
                node = child;
                continue;
            }
            while (node != &top && node->getNextSibling() == nullptr) {
                node = node->getParentNode();
                close(*node);
            }
            if (node == &top)
                return;
            node = node->getNextSibling();
        }
    }

    std::string take() { return std::move(out_); }

private:
    void raw(std::u16string_view text) { Xerces_AppendUtf8(out_, text); }

    void attributes(const DOMNode& element) {
        const xercesc::DOMNamedNodeMap* map = element.getAttributes();
        const XMLSize_t count = map->getLength();
        for (XMLSize_t i = 0; i < count; ++i) {
            const DOMNode& attribute = *map->item(i);
            out_ += ' ';
            raw(view(attribute.getNodeName()));
            out_ += "=\"";
            appendEscaped(out_, view(attribute.getNodeValue()), attributeEscape);
            out_ += '"';
        }
    }

    /// Everything of the node that stands before its children; the end of a start tag is left open.
    void open(const DOMNode& node) {
        switch (node.getNodeType()) {
        case DOMNode::DOCUMENT_NODE:
            out_ += declaration;
            break;
        case DOMNode::ELEMENT_NODE:
            out_ += '<';
            raw(view(node.getNodeName()));
            attributes(node);
            out_ += node.hasChildNodes() ? ">" : "/>";
            break;
        case DOMNode::TEXT_NODE:
            appendEscaped(out_, view(node.getNodeValue()), textEscape);
            break;
        case DOMNode::CDATA_SECTION_NODE:
            between("<![CDATA[", view(node.getNodeValue()), "]]>");
            break;
        case DOMNode::COMMENT_NODE:
            between("<!--", view(node.getNodeValue()), "-->");
            break;
        case DOMNode::PROCESSING_INSTRUCTION_NODE:
            between("<?", view(node.getNodeName()), view(node.getNodeValue()).empty() ? "" : " ");
            between("", view(node.getNodeValue()), "?>");
            break;
        default:
            break;
        }
    }

    void close(const DOMNode& node) {
        if (node.getNodeType() == DOMNode::ELEMENT_NODE)
            between("</", view(node.getNodeName()), ">");
    }

    void between(std::string_view before, std::u16string_view text, std::string_view after) {
        out_ += before;
        raw(text);
        out_ += after;
    }

    std::string out_;
};

} // namespace

std::string Xerces_SerializeNode(const DOMNode& node) {
    Writer writer;
    writer.write(node);
    return writer.take();
}

void Xerces_AppendAttribute(std::string& out, std::string_view name, std::string_view value) {
    out += ' ';
    out += name;
    out += "=\"";
    const auto isPlain = [](unsigned char byte) { return plainInAttribute[byte]; };
    if (std::all_of(value.begin(), value.end(), isPlain)) {
        out += value;
    } else {
        std::u16string units(Xerces_MaximumUnits(value.size()) + 1, u'\0');
        units.resize(Xerces_ToUnits(value, units.data()));
        appendEscaped(out, units, attributeEscape);
    }
    out += '"';
}
