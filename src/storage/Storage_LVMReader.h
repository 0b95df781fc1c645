#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the tools of the logical volume manager say, in the forms of LVM1 and LVM2. Pure functions; any text
/// is welcome.

/// `pvdisplay` of one device. Nothing where it says nothing.
struct Storage_PhysicalVolume {
    std::optional<std::string> group;
    std::optional<std::uint64_t> allocatedBytes;
};
Storage_PhysicalVolume Storage_ReadPhysicalVolume(std::string_view text);

/// A row of `vgdisplay`.
struct Storage_VolumeGroup {
    std::string name;
    std::uint64_t totalBytes = 0;
};
std::vector<Storage_VolumeGroup> Storage_ReadVolumeGroups(std::string_view text);
/// Whether it tells of groups in this form. Later versions count in MiB and round.
bool Storage_IsVolumeGroupForm(std::string_view text);
/// From `vgs --reportformat json --units b`.
std::vector<Storage_VolumeGroup> Storage_ReadVolumeGroupReport(std::string_view text);

/// Of `pvs --reportformat json --units b`, by the path of the device.
std::map<std::string, Storage_PhysicalVolume> Storage_ReadPhysicalVolumeReport(std::string_view text);

/// The first segment of a group's logical volumes.
struct Storage_Segment {
    /// As `lvs` names it; nothing if the group has no logical volume.
    std::optional<std::string> type;
};
/// From `lvs --segments`.
Storage_Segment Storage_ReadSegment(std::string_view text, std::string_view group);
/// Of `lvs --segments --reportformat json`, by group.
std::map<std::string, Storage_Segment> Storage_ReadSegmentReport(std::string_view text);

/// A logical volume of `lvdisplay`.
struct Storage_LogicalVolume {
    std::string path;
    std::optional<std::string> group;
};
std::vector<Storage_LogicalVolume> Storage_ReadLogicalVolumes(std::string_view text);

/// What `lvdisplay` of one device says of it.
struct Storage_LogicalVolumeOf {
    bool isLogicalVolume = false;
    std::vector<std::string> groups;
};
Storage_LogicalVolumeOf Storage_ReadLogicalVolumeOf(std::string_view text);
