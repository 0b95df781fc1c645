#include "qdvctl/Ctl_FileTables.h"

#include "qdvctl/Ctl_Render.h"
#include "qdvctl/Ctl_Text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

using FileRow = std::vector<std::string>;

std::string wordOf(const Ctl_Node& object, std::string_view name) {
    const std::string* value = object.attribute(name);
    return value != nullptr ? *value : std::string();
}

std::uint64_t countOf(const Ctl_Node& object, std::string_view name) {
    return std::strtoull(wordOf(object, name).c_str(), nullptr, 10);
}

bool isFolder(const Ctl_Node& object) {
    return wordOf(object, "isdir") == "true";
}

/// Numbers stand under each other by their last digits.
void alignRight(std::vector<FileRow>& rows, std::size_t column) {
    std::size_t width = 0;
    for (const FileRow& row : rows)
        width = std::max(width, row.at(column).size());
    for (FileRow& row : rows)
        row.at(column).insert(0, width - row.at(column).size(), ' ');
}

FileRow listed(const Ctl_Node& object) {
    return {isFolder(object) ? "d" : "-",
            Ctl_Printable(wordOf(object, "userId")),
            wordOf(object, "groupId"),
            std::to_string(countOf(object, "size")),
            Ctl_Printable(wordOf(object, "modifyDT")),
            Ctl_Printable(wordOf(object, "name")) + (isFolder(object) ? "/" : "")};
}

FileRow totals(std::string name, const std::vector<std::uint64_t>& counts) {
    return {Ctl_SizeText(counts[0]),
            std::to_string(counts[0]),
            std::to_string(counts[1]),
            std::to_string(counts[2]),
            std::to_string(counts[3]),
            std::to_string(counts[4]),
            std::move(name)};
}

} // namespace

std::string Ctl_SizeText(std::uint64_t bytes) {
    constexpr std::array<const char*, 6> units = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    constexpr double step = 1024;
    if (bytes < static_cast<std::uint64_t>(step))
        return std::to_string(bytes) + " B";
    double size = static_cast<double>(bytes) / step;
    std::size_t unit = 0;
    for (; size >= step && unit + 1 < units.size(); ++unit)
        size /= step;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s", size, units.at(unit));
    return text.data();
}

std::string Ctl_ListFiles(const std::vector<Ctl_Node>& results) {
    std::vector<FileRow> rows;
    for (const Ctl_Node& object : results) {
        if (object.children.empty() && !isFolder(object))
            rows.push_back(listed(object));
        for (const Ctl_Node& member : object.children)
            if (!member.isText())
                rows.push_back(listed(member));
    }
    alignRight(rows, 2);
    alignRight(rows, 3);
    return Ctl_RenderRows(rows);
}

std::string Ctl_ListTotals(const std::vector<Ctl_Node>& trees) {
    constexpr const char* counters[] = {"sizeRecursive", "numFilesRecursive", "numDirsRecursive",
                                        "numFilesModifiedRecursive", "numFilesAccessedRecursive"};
    std::vector<FileRow> rows = {
        {"Size", "Bytes", "Files", "Folders", "Changed in 24 h", "Read in 24 h", "Path"}};
    std::vector<std::uint64_t> sums(std::size(counters));
    for (const Ctl_Node& tree : trees) {
        const std::string path = Ctl_Printable(wordOf(tree, "path"));
        if (wordOf(tree, "exists") != "true") {
            rows.push_back({"-", "-", "-", "-", "-", "-", path + " (does not exist)"});
            continue;
        }
        std::vector<std::uint64_t> counts;
        for (const char* counter : counters)
            counts.push_back(countOf(tree, counter));
        // A file is what a tree of one holds.
        if (!isFolder(tree))
            counts = {countOf(tree, "size"), 1, 0, 0, 0};
        for (std::size_t at = 0; at < sums.size(); ++at)
            sums[at] += counts[at];
        rows.push_back(totals(path, counts));
    }
    if (trees.size() > 1)
        rows.push_back(totals("(together)", sums));
    for (std::size_t column = 0; column + 1 < rows.front().size(); ++column)
        alignRight(rows, column);
    return Ctl_RenderRows(rows);
}
