#include "storage/Storage_BlockDevices.h"
#include "storage/Storage_FdiskReader.h"
#include "storage/Storage_JsonReader.h"
#include "storage/Storage_LVMReader.h"
#include "storage/Storage_ProcReader.h"
#include "storage/Storage_RaidReader.h"
#include "target.h"

namespace {

/// What goes on to a command line is one word.
void requireWord(const std::string& text) {
    require(text.find_first_of(" \t\n") == std::string::npos);
}

} // namespace

void fuzz(std::string_view input) {
    const std::string text(input);
    for (const bool isKernel24 : {false, true}) {
        const Storage_FdiskDrive drive = Storage_ReadFdiskDrive(text, "/dev/sda", isKernel24);
        require(drive.isDecided || drive.isWhole);
    }
    for (const Storage_FdiskPartition& partition : Storage_ReadFdiskPartitions(text)) {
        requireWord(partition.device);
        require(partition.device.starts_with("/dev/"));
    }
    requireWord(Storage_ReadPhysicalVolume(text).group.value_or("group"));
    for (const Storage_VolumeGroup& group : Storage_ReadVolumeGroups(text))
        requireWord(group.name);
    requireWord(Storage_ReadSegment(text, "vg0").type.value_or("linear"));
    for (const Storage_LogicalVolume& volume : Storage_ReadLogicalVolumes(text))
        requireWord(volume.path);
    for (const std::string& group : Storage_ReadLogicalVolumeOf(text).groups)
        requireWord(group);
    for (const Storage_RaidtabArray& array : Storage_ReadRaidtab(text))
        requireWord(array.device);
    Storage_ReadLsraid(text);
    const Storage_MdadmQuery query = Storage_ReadMdadmQuery(text);
    require(query.isMember || !query.array);
    Storage_ReadMdadmExamine(text);
    for (const std::string& member : Storage_ReadMdadmDetail(text, "/dev/md0").members)
        requireWord(member);
    for (const Storage_ScsiSection& section : Storage_ReadScsiSections(text))
        requireWord(section.type);
    require(Storage_ReadIdeMedia(text).find_first_of("\r\n") == std::string::npos);
    for (const Storage_KernelPartition& partition : Storage_ReadKernelPartitions(text))
        require(!partition.name.empty());
    Storage_ReadMounts(text);
    for (const Storage_MountDevice& mount : Storage_ReadMountInfo(text))
        require(mount.mountPoint.size() <= text.size());
    for (const std::string& place : Storage_ReadSwaps(text))
        require(place.size() <= text.size());
    for (const auto& [name, value] : Storage_ReadUdevProperties(text))
        require(name.size() + value.size() < text.size() && name.find('=') == std::string::npos);
    for (const Storage_JsonRow& row : Storage_ReadJsonRows(text, "vg"))
        require(row.size() <= text.size());
    for (const auto& [device, volume] : Storage_ReadPhysicalVolumeReport(text))
        require(volume.allocatedBytes.has_value());
    Storage_ReadVolumeGroupReport(text);
    Storage_ReadSegmentReport(text);
}
