#include "storage/Storage_ProcReader.h"

#include "storage/Storage_Lines.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mntent.h>
#include <optional>

namespace {

constexpr std::string_view blanks = " \t";
constexpr std::string_view lineEnds = "\r\n";
/// For one line: longer than what the kernel keeps of a mount's options.
constexpr std::size_t mountLineSize = std::size_t{64} << 10;

/// Finds one label after another in a text, from left to right.
class Labels {
public:
    explicit Labels(std::string_view text) : text_(text) {}

    /// Goes behind the next such label. False if there is none.
    bool find(std::string_view label) {
        const std::size_t at = text_.find(label);
        if (at == std::string_view::npos)
            return false;
        text_.remove_prefix(at + label.size());
        return true;
    }
    std::string_view takeUpTo(std::string_view ends) {
        const std::string_view piece = text_.substr(0, text_.find_first_of(ends));
        text_.remove_prefix(piece.size());
        return piece;
    }
    void skip(std::string_view characters) {
        text_.remove_prefix(std::min(text_.find_first_not_of(characters), text_.size()));
    }

private:
    std::string_view text_;
};

/// A blank, tab, newline or backslash stands as a backslash and three octal digits.
std::string unescaped(std::string_view text) {
    constexpr std::size_t digits = 3;
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        unsigned byte = 0;
        const char* const start = text.data() + at + 1;
        if (text[at] == '\\' && text.size() - at > digits &&
            std::from_chars(start, start + digits, byte, 8).ptr == start + digits && byte <= 0xFF) {
            plain += static_cast<char>(byte);
            at += digits;
        } else {
            plain += text[at];
        }
    }
    return plain;
}

int toNumber(std::string_view text) {
    return static_cast<int>(std::strtol(std::string(text).c_str(), nullptr, 10));
}

} // namespace

std::vector<Storage_ScsiSection> Storage_ReadScsiSections(std::string_view text) {
    constexpr std::string_view controller = "scsi";
    std::vector<Storage_ScsiSection> sections;
    for (Labels labels(text); labels.find("Host: ");) {
        Storage_ScsiSection section;
        const std::string_view host = labels.takeUpTo(" \t\n");
        section.host = toNumber(host.substr(std::min(controller.size(), host.size())));
        if (!labels.find("Id: "))
            break;
        section.id = toNumber(labels.takeUpTo(" \t\n"));
        if (!labels.find("Lun: "))
            break;
        section.lun = toNumber(labels.takeUpTo("\n"));
        if (!labels.find("Vendor: ") || !labels.find("Model: "))
            break;
        labels.takeUpTo("\n"); // the device chooses what stands here
        if (!labels.find("Type: "))
            break;
        labels.skip(blanks);
        section.type = labels.takeUpTo(" \t\n");
        sections.push_back(std::move(section));
    }
    return sections;
}

std::string Storage_ReadIdeMedia(std::string_view text) {
    return std::string(text.substr(0, text.find_first_of(lineEnds)));
}

std::vector<Storage_KernelPartition> Storage_ReadKernelPartitions(std::string_view text) {
    std::vector<Storage_KernelPartition> partitions;
    for (Storage_Lines lines(text); lines.next();)
        if (lines.size() > 3 && !lines.is(0, "major"))
            partitions.push_back({std::string(lines[3]), Storage_BlockBytes * Storage_Number(lines[2])});
    return partitions;
}

std::vector<Storage_Mount> Storage_ReadMounts(const std::string& text) {
    std::vector<Storage_Mount> mounts;
    if (text.empty())
        return mounts;
    // The library reads from a stream and does not write to it.
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(
        fmemopen(const_cast<char*>(text.data()), text.size(), "r"), std::fclose);
    if (!stream)
        throw std::bad_alloc();
    std::vector<char> line(mountLineSize);
    mntent entry{};
    while (getmntent_r(stream.get(), &entry, line.data(), static_cast<int>(line.size())) != nullptr)
        mounts.push_back(
            {entry.mnt_fsname, entry.mnt_dir, entry.mnt_type, hasmntopt(&entry, "ignore") != nullptr});
    return mounts;
}

std::vector<Storage_MountDevice> Storage_ReadMountInfo(std::string_view text) {
    std::vector<Storage_MountDevice> devices;
    for (Storage_Lines lines(text); lines.next();) {
        const std::string_view numbers = lines[2];
        const std::size_t colon = numbers.find(':');
        if (colon != std::string_view::npos && lines.size() > 4)
            devices.push_back({unescaped(lines[4]), static_cast<unsigned>(Storage_Number(numbers)),
                               static_cast<unsigned>(Storage_Number(numbers.substr(colon + 1)))});
    }
    return devices;
}

std::vector<std::string> Storage_ReadSwaps(std::string_view text) {
    std::vector<std::string> places;
    for (Storage_Lines lines(text); lines.next();)
        if (lines[0].starts_with('/'))
            places.push_back(unescaped(lines[0]));
    return places;
}
