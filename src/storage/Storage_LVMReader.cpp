#include "storage/Storage_LVMReader.h"

#include "storage/Storage_JsonReader.h"
#include "storage/Storage_Lines.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr std::uint64_t kilo = 1024;
constexpr std::uint64_t mega = 1024 * kilo;
constexpr std::uint64_t giga = 1024 * mega;

struct Unit {
    std::string_view name;
    std::uint64_t bytes;
};

/// Of `pvdisplay`: "PE Size (KByte) 4096".
constexpr Unit unitsOfVolume[] = {{"(KByte)", kilo}, {"(MByte)", mega}, {"(GByte)", giga}};
/// Of `vgdisplay`: "PE Size 4.00 MB".
constexpr Unit unitsOfGroup[] = {{"KB", kilo}, {"MB", mega}, {"GB", giga}};

template <std::size_t size>
std::uint64_t unitBytes(const Unit (&units)[size], std::string_view name, std::uint64_t otherwise) {
    const auto unit =
        std::find_if(std::begin(units), std::end(units), [&](const Unit& each) { return each.name == name; });
    return unit == std::end(units) ? otherwise : unit->bytes;
}

bool isGroupName(const Storage_Lines& lines) {
    return lines.size() > 2 && lines.is(0, "VG", "Name");
}

bool isVolumeName(const Storage_Lines& lines) {
    return lines.size() > 2 && lines.is(0, "LV", "Name");
}

bool isExtentSize(const Storage_Lines& lines) {
    return lines.size() > 3 && lines.is(0, "PE", "Size");
}

} // namespace

Storage_PhysicalVolume Storage_ReadPhysicalVolume(std::string_view text) {
    Storage_PhysicalVolume volume;
    std::uint64_t extentBytes = kilo;
    for (Storage_Lines lines(text); lines.next();) {
        // A volume in no group has the line too, without a name in it.
        if (!volume.group && lines.size() == 3 && isGroupName(lines))
            volume.group = lines[2];
        else if (isExtentSize(lines))
            extentBytes = unitBytes(unitsOfVolume, lines[2], kilo) * Storage_Number(lines[3]);
        else if (lines.size() > 2 && lines.is(0, "Allocated", "PE"))
            volume.allocatedBytes = extentBytes * Storage_Number(lines[2]);
    }
    return volume;
}

std::vector<Storage_VolumeGroup> Storage_ReadVolumeGroups(std::string_view text) {
    std::vector<Storage_VolumeGroup> groups;
    std::uint64_t extentBytes = 4 * mega;
    for (Storage_Lines lines(text); lines.next();) {
        if (isGroupName(lines))
            groups.push_back({std::string(lines[2])});
        else if (isExtentSize(lines))
            extentBytes = unitBytes(unitsOfGroup, lines[3], mega) * Storage_Number(lines[2]);
        else if (lines.size() > 2 && lines.is(0, "Total", "PE") && !groups.empty())
            groups.back().totalBytes = extentBytes * Storage_Number(lines[2]);
    }
    return groups;
}

bool Storage_IsVolumeGroupForm(std::string_view text) {
    bool hasGroup = false;
    for (Storage_Lines lines(text); lines.next();) {
        if (isExtentSize(lines))
            return unitBytes(unitsOfGroup, lines[3], 0) != 0;
        hasGroup = hasGroup || isGroupName(lines);
    }
    return hasGroup;
}

std::vector<Storage_VolumeGroup> Storage_ReadVolumeGroupReport(std::string_view text) {
    std::vector<Storage_VolumeGroup> groups;
    for (const Storage_JsonRow& row : Storage_ReadJsonRows(text, "vg"))
        groups.push_back({std::string(Storage_JsonText(row, "vg_name")),
                          Storage_Number(Storage_JsonText(row, "vg_size"))});
    return groups;
}

std::map<std::string, Storage_PhysicalVolume> Storage_ReadPhysicalVolumeReport(std::string_view text) {
    std::map<std::string, Storage_PhysicalVolume> volumes;
    for (const Storage_JsonRow& row : Storage_ReadJsonRows(text, "pv")) {
        Storage_PhysicalVolume volume;
        if (const std::string_view group = Storage_JsonText(row, "vg_name"); !group.empty())
            volume.group = group;
        const std::uint64_t size = Storage_Number(Storage_JsonText(row, "pv_size"));
        const std::uint64_t free = Storage_Number(Storage_JsonText(row, "pv_free"));
        volume.allocatedBytes = size - std::min(size, free);
        volumes.emplace(Storage_JsonText(row, "pv_name"), std::move(volume));
    }
    return volumes;
}

Storage_Segment Storage_ReadSegment(std::string_view text, std::string_view group) {
    for (Storage_Lines lines(text); lines.next();)
        if (lines.size() == 6 && lines[1] == group)
            return {std::string(lines[4])};
    return {};
}

std::map<std::string, Storage_Segment> Storage_ReadSegmentReport(std::string_view text) {
    std::map<std::string, Storage_Segment> segments;
    for (const Storage_JsonRow& row : Storage_ReadJsonRows(text, "seg"))
        segments.try_emplace(std::string(Storage_JsonText(row, "vg_name")),
                             Storage_Segment{std::string(Storage_JsonText(row, "segtype"))});
    return segments;
}

std::vector<Storage_LogicalVolume> Storage_ReadLogicalVolumes(std::string_view text) {
    std::vector<Storage_LogicalVolume> volumes;
    for (Storage_Lines lines(text); lines.next();) {
        if (isVolumeName(lines))
            volumes.push_back({std::string(lines[2]), std::nullopt});
        else if (isGroupName(lines) && !volumes.empty() && !volumes.back().group)
            volumes.back().group = lines[2];
    }
    return volumes;
}

Storage_LogicalVolumeOf Storage_ReadLogicalVolumeOf(std::string_view text) {
    Storage_LogicalVolumeOf found;
    for (Storage_Lines lines(text); lines.next();) {
        if (isVolumeName(lines))
            found.isLogicalVolume = true;
        else if (isGroupName(lines))
            found.groups.emplace_back(lines[2]);
    }
    return found;
}
