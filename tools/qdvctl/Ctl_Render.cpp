#include "qdvctl/Ctl_Render.h"

#include "qdvctl/Ctl_Text.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr unsigned indentStep = 2;
/// Elements with more different attributes than this are no table that anybody could read.
constexpr std::size_t mostColumns = 40;
constexpr std::string_view columnGap = "  ";
/// A cell that is wider does not widen its column, or one long name would be paid for in blanks by all rows.
constexpr std::size_t widestColumn = 256;
/// The heading of the column for elements' own texts; no attribute can have such a name.
constexpr std::string_view textColumn = "(text)";

using Attributes = std::vector<std::pair<std::string, std::string>>;
using Elements = std::vector<const Ctl_Node*>;
using ElementIterator = Elements::const_iterator;
using Row = std::vector<std::string>;

std::string padding(std::size_t width) {
    return std::string(width, ' ');
}

std::string padded(std::string cell, std::size_t width) {
    const std::size_t taken = Ctl_Width(cell);
    return taken < width ? std::move(cell) + padding(width - taken) : cell;
}

/// Columns as wide as their widest cell, up to a limit; the last is not padded.
void appendRows(std::string& out, const std::vector<Row>& rows, unsigned indent) {
    std::vector<std::size_t> widths;
    for (const Row& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], std::min(Ctl_Width(row[column]), widestColumn));
    }
    for (const Row& row : rows) {
        std::string line = padding(indent);
        for (std::size_t column = 0; column < row.size(); ++column)
            line.append(column == 0 ? "" : columnGap).append(padded(row[column], widths[column]));
        line.erase(line.find_last_not_of(' ') + 1);
        out.append(line).append("\n");
    }
}

/// The names of all their attributes, in the order in which they are met, then the texts if there are any.
Row columnsOf(ElementIterator first, ElementIterator last) {
    Row columns;
    bool hasText = false;
    for (auto element = first; element != last && columns.size() <= mostColumns; ++element) {
        hasText = hasText || !(*element)->ownText().empty();
        for (const auto& [name, value] : (*element)->attributes)
            if (std::find(columns.begin(), columns.end(), name) == columns.end())
                columns.push_back(name);
    }
    if (hasText && !columns.empty())
        columns.emplace_back(textColumn);
    return columns;
}

Row cellsOf(const Ctl_Node& element, const Row& columns) {
    Row cells;
    for (const std::string& column : columns) {
        const std::string* value = element.attribute(column);
        cells.push_back(column == textColumn ? Ctl_Printable(element.ownText())
                        : value == nullptr   ? std::string()
                                             : Ctl_Printable(*value));
    }
    return cells;
}

void appendTable(std::string& out, ElementIterator first, ElementIterator last, const Row& columns,
                 unsigned indent) {
    out.append(padding(indent)).append(Ctl_Printable((*first)->name)).append("\n");
    std::vector<Row> rows(1);
    for (const std::string& column : columns)
        rows.front().push_back(Ctl_Printable(column));
    for (auto element = first; element != last; ++element)
        rows.push_back(cellsOf(**element, columns));
    appendRows(out, rows, indent + indentStep);
}

void appendElements(std::string& out, const std::vector<Ctl_Node>& nodes, unsigned indent);

void appendText(std::string& out, const std::string& text, unsigned indent) {
    std::string_view rest = text;
    while (!rest.empty()) {
        const std::size_t length = std::min(rest.find('\n'), rest.size());
        out.append(padding(indent)).append(rest.substr(0, length)).append("\n");
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
}

void appendBlock(std::string& out, const Ctl_Node& node, unsigned indent) {
    const std::string text = Ctl_PrintableLines(node.ownText());
    const bool onOneLine = text.find('\n') == std::string::npos;
    out.append(padding(indent)).append(Ctl_Printable(node.name));
    if (!text.empty())
        out.append(onOneLine ? ": " + text : ":");
    out.append("\n");

    std::vector<Row> rows;
    for (const auto& [name, value] : node.attributes)
        rows.push_back({Ctl_Printable(name), Ctl_Printable(value)});
    appendRows(out, rows, indent + indentStep);
    if (!onOneLine)
        appendText(out, text, indent + indentStep);
    appendElements(out, node.children, indent + indentStep);
}

Elements elementsOf(const std::vector<Ctl_Node>& nodes) {
    Elements elements;
    for (const Ctl_Node& node : nodes)
        if (!node.isText())
            elements.push_back(&node);
    return elements;
}

void appendElements(std::string& out, const std::vector<Ctl_Node>& nodes, unsigned indent) {
    const Elements elements = elementsOf(nodes);
    for (auto first = elements.begin(); first != elements.end();) {
        const auto last = std::find_if(first, elements.end(), [&](const Ctl_Node* element) {
            return element->name != (*first)->name || element->hasElements();
        });
        const Row columns = last - first > 1 ? columnsOf(first, last) : Row();
        if (!columns.empty() && columns.size() <= mostColumns) {
            appendTable(out, first, last, columns, indent);
            first = last;
        } else {
            const auto end = std::max(last, first + 1);
            std::for_each(first, end, [&](const Ctl_Node* element) { appendBlock(out, *element, indent); });
            first = end;
        }
    }
}

void appendMembers(std::string& out, const Attributes& members) {
    for (const auto& member : members)
        out.append(&member == &members.front() ? "" : ",")
            .append(Ctl_JsonString(member.first))
            .append(":")
            .append(Ctl_JsonString(member.second));
}

void appendJsonElements(std::string& out, const std::vector<Ctl_Node>& nodes);

void appendJsonElement(std::string& out, const Ctl_Node& node) {
    out.append("{\"element\":").append(Ctl_JsonString(node.name));
    if (!node.attributes.empty()) {
        out.append(",\"attributes\":{");
        appendMembers(out, node.attributes);
        out.append("}");
    }
    if (const std::string text = node.ownText(); !text.empty())
        out.append(",\"text\":").append(Ctl_JsonString(text));
    if (node.hasElements()) {
        out.append(",\"elements\":");
        appendJsonElements(out, node.children);
    }
    out.append("}");
}

void appendJsonElements(std::string& out, const std::vector<Ctl_Node>& nodes) {
    const Elements elements = elementsOf(nodes);
    out.append("[");
    for (const Ctl_Node* element : elements) {
        out.append(element == elements.front() ? "" : ",");
        appendJsonElement(out, *element);
    }
    out.append("]");
}

} // namespace

std::string Ctl_RenderText(const std::vector<Ctl_Node>& nodes, unsigned indent) {
    std::string out;
    appendElements(out, nodes, indent);
    return out;
}

std::string Ctl_RenderRows(const std::vector<Row>& rows) {
    std::string out;
    appendRows(out, rows, 0);
    return out;
}

std::string Ctl_RenderJson(const Attributes& members, const std::vector<Ctl_Node>& nodes) {
    std::string out = "{";
    appendMembers(out, members);
    out.append(members.empty() ? "" : ",").append("\"elements\":");
    appendJsonElements(out, nodes);
    return out.append("}");
}

std::string Ctl_RenderJson(const Ctl_Node& element) {
    std::string out;
    appendJsonElement(out, element);
    return out;
}
