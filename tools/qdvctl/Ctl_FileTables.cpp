#include "qdvctl/Ctl_FileTables.h"

#include "qdvctl/Ctl_Render.h"
#include "qdvctl/Ctl_Text.h"

#include <algorithm>
#include <functional>
#include <string_view>

namespace {

using FileRow = std::vector<std::string>;

bool isFolder(const Ctl_Node& object) {
    return object.word("isdir") == "true";
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
            Ctl_Printable(object.word("userId")),
            Ctl_Printable(object.word("groupId")),
            std::to_string(object.number("size")),
            Ctl_Printable(object.word("modifyDT")),
            Ctl_Printable(object.word("name")) + (isFolder(object) ? "/" : "")};
}

FileRow totals(std::string name, const std::vector<std::uint64_t>& counts) {
    return {Ctl_SizeText(static_cast<double>(counts[0])),
            std::to_string(counts[0]),
            std::to_string(counts[1]),
            std::to_string(counts[2]),
            std::to_string(counts[3]),
            std::to_string(counts[4]),
            std::move(name)};
}

bool isAtOrBelow(std::string_view path, std::string_view directory) {
    while (!directory.empty() && directory.back() == '/')
        directory.remove_suffix(1);
    return path.starts_with(directory) && (path.size() == directory.size() || path[directory.size()] == '/');
}

/// The innermost volume that a path lies in; the number of volumes if there is none.
std::size_t volumeOf(std::string_view path, const std::vector<std::string>& volumes) {
    std::size_t best = volumes.size();
    for (std::size_t at = 0; at < volumes.size(); ++at)
        if (isAtOrBelow(path, volumes[at]) &&
            (best == volumes.size() || volumes[at].size() > volumes[best].size()))
            best = at;
    return best;
}

std::string hitLine(std::string_view size, std::string_view modified, std::string_view owner,
                    std::string_view path) {
    constexpr std::size_t sizeWidth = 12;
    constexpr std::size_t modifiedWidth = 19;
    constexpr std::size_t ownerWidth = 8;
    const auto blanks = [](std::string_view cell, std::size_t width) {
        const std::size_t taken = Ctl_Width(cell);
        return std::string(taken < width ? width - taken : 0, ' ');
    };
    std::string line = blanks(size, sizeWidth);
    line.append(size).append("  ").append(modified).append(blanks(modified, modifiedWidth));
    line.append("  ").append(owner).append(blanks(owner, ownerWidth)).append("  ").append(path);
    return line.append("\n");
}

} // namespace

bool Ctl_IsThere(const Ctl_Node& object) {
    return object.word("exists") == "true";
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
        const std::string path = Ctl_Printable(tree.word("path"));
        if (!Ctl_IsThere(tree)) {
            rows.push_back({"-", "-", "-", "-", "-", "-", path + " (does not exist)"});
            continue;
        }
        std::vector<std::uint64_t> counts;
        for (const char* counter : counters)
            counts.push_back(tree.number(counter));
        // A file is what a tree of one holds, and is not told as changed or read of late.
        if (!isFolder(tree))
            counts = {tree.number("size"), 1, 0, 0, 0};
        for (std::size_t at = 0; at < sums.size(); ++at)
            sums[at] += counts[at];
        rows.push_back(totals(path, counts));
        if (!isFolder(tree))
            rows.back()[4] = rows.back()[5] = "-";
    }
    if (trees.size() > 1)
        rows.push_back(totals("(together)", sums));
    for (std::size_t column = 0; column + 1 < rows.front().size(); ++column)
        alignRight(rows, column);
    return Ctl_RenderRows(rows);
}

std::string Ctl_ListVolumes(const std::vector<Ctl_Node>& summary) {
    constexpr std::size_t columns = 5;
    const Ctl_Node* list = Ctl_FindElement(summary, "Volumes");
    std::vector<std::string> names;
    std::vector<std::vector<std::uint64_t>> counts;
    for (const Ctl_Node& volume : list != nullptr ? list->children : std::vector<Ctl_Node>()) {
        names.push_back(volume.word("name"));
        counts.push_back({volume.number("numFiles"), volume.number("numDirs"),
                          volume.number("numFilesHit") + volume.number("numDirsHit"),
                          volume.number("sizeHit"), 0});
    }
    for (const std::string& failure : Ctl_FailedItems(summary))
        if (const std::size_t at = volumeOf(failure, names); at < names.size())
            ++counts[at].back();
    std::vector<FileRow> rows = {{"Files", "Folders", "Hits", "Bytes", "Failures", "Volume"}};
    const auto addRow = [&](const std::vector<std::uint64_t>& row, std::string name) {
        FileRow cells;
        for (const std::uint64_t count : row)
            cells.push_back(std::to_string(count));
        cells.push_back(std::move(name));
        rows.push_back(std::move(cells));
    };
    std::vector<std::uint64_t> sums(columns);
    for (std::size_t at = 0; at < names.size(); ++at) {
        addRow(counts[at], Ctl_Printable(names[at]));
        std::transform(sums.begin(), sums.end(), counts[at].begin(), sums.begin(), std::plus<>());
    }
    if (names.size() > 1)
        addRow(sums, "(together)");
    for (std::size_t column = 0; column < columns; ++column)
        alignRight(rows, column);
    return Ctl_RenderRows(rows);
}

std::vector<std::string> Ctl_FailedItems(const std::vector<Ctl_Node>& summary) {
    std::vector<std::string> names;
    if (const Ctl_Node* list = Ctl_FindElement(summary, "AuditFailedItems"))
        for (const Ctl_Node& item : list->children)
            if (!item.isText())
                names.push_back(item.word("name"));
    return names;
}

std::string Ctl_ListHit(const Ctl_Node& hit) {
    return hitLine(std::to_string(hit.number("size")), Ctl_Printable(hit.word("modifyDT")),
                   Ctl_Printable(hit.word("userId")),
                   Ctl_Printable(hit.word("path")) + (isFolder(hit) ? "/" : ""));
}

std::string Ctl_HitHeading() {
    return hitLine("Size", "Modified (UTC)", "Owner", "Path");
}
