#include "storage/Storage_Membership.h"

#include "host/Host_Host.h"
#include "log/Debug_Printf.h"
#include "storage/Storage_Container.h"
#include "storage/Storage_HostReport.h"
#include "storage/Storage_StorageAssociations.h"

#include <algorithm>
#include <cctype>

namespace {

/// Where a physical volume keeps its identity: LVM1 in its header, LVM2 in the second sector.
constexpr std::uint64_t identityOffset24 = 44;
constexpr std::uint64_t identityOffset = 544;
constexpr std::size_t identityLength = 32;
/// Only LVM1 keeps the name of the group at a fixed place.
constexpr std::uint64_t groupOffset24 = 172;
constexpr std::size_t groupLength = 32;
/// Long enough for "/dev/sda", so a drive is found by the names of its partitions.
constexpr std::size_t drivePathLength = 8;

bool isIdentity(const std::string& bytes) {
    return bytes.size() == identityLength && std::all_of(bytes.begin(), bytes.end(), [](unsigned char byte) {
               return std::isalnum(byte) != 0;
           });
}

/// Nothing if it is not known; `hasFailed` if it could not be asked for.
std::optional<std::string> groupOf(const System_Object& object, Host_Device& device,
                                   Storage_HostReport& report, const char* className, bool& hasFailed) {
    if (report.isKernel("2.4")) {
        const Host_Answer<std::string> name = device.read(groupOffset24, groupLength);
        hasFailed = !name;
        if (hasFailed) {
            DEBUG_LOG("%s::audit: Unable to read header (VG)\n", className);
            return std::nullopt;
        }
        return std::string(name->c_str());
    }
    const Storage_PhysicalVolume* volume = report.physicalVolume(object.getName());
    hasFailed = volume == nullptr;
    if (hasFailed) {
        DEBUG_LOG("Storage_PhysicalDriveLinux::audit: OS command failed: %s\n",
                  report.failedCommand().c_str());
        return std::nullopt;
    }
    return volume->group;
}

Storage_RaidMembership membershipOf(const Storage_BlockDevice& device, const Storage_BlockDevices& devices) {
    Storage_RaidMembership found;
    found.isSettled = true;
    for (const Storage_BlockDevice* array : devices.arraysOf(device)) {
        found.isMember = true;
        found.arrays.push_back(array->path);
        found.levels.push_back(*array->level);
    }
    return found;
}

} // namespace

bool Storage_AuditLVMHeader(System_Object& object, Host_Device& device, Storage_HostReport& report,
                            const char* className) {
    const Host_Answer<std::string> identity =
        device.read(report.isKernel("2.4") ? identityOffset24 : identityOffset, identityLength);
    if (!identity) {
        DEBUG_LOG("%s::audit: Unable to read header (UUID)\n", className);
        return false;
    }
    if (!isIdentity(*identity))
        return true;
    object.setVirtualMechanism(VirtualMechanism_LogicalVolumeManager);
    bool hasFailed = false;
    const std::optional<std::string> group = groupOf(object, device, report, className, hasFailed);
    if (group)
        gStorageContainer->getStorageAssociations()->addAssociation(object, *group, System_Object::Plex);
    return !hasFailed;
}

bool Storage_AuditLVMOfKernel(System_Object& object, const Storage_BlockDevice& device,
                              Storage_HostReport& report) {
    // Without udev's word the tool's has to do.
    const bool isMarked = device.property("ID_FS_TYPE") == "LVM2_member";
    if (!isMarked && !device.properties.empty())
        return true;
    const Storage_PhysicalVolume* volume = report.physicalVolume(object.getName());
    if (volume == nullptr) {
        DEBUG_LOG("Storage_PhysicalDriveLinux::audit: OS command failed: %s\n",
                  report.failedCommand().c_str());
        return false;
    }
    if (!isMarked && !volume->group && !volume->allocatedBytes)
        return true;
    object.setVirtualMechanism(VirtualMechanism_LogicalVolumeManager);
    if (volume->group)
        gStorageContainer->getStorageAssociations()->addAssociation(object, *volume->group,
                                                                    System_Object::Plex);
    return true;
}

bool Storage_AuditLVMMembership(System_Object& object, Storage_HostReport& report, const char* className) {
    if (const Storage_BlockDevice* known = report.blockDevice(object.getName()))
        return Storage_AuditLVMOfKernel(object, *known, report);
    const Host_Answer<std::unique_ptr<Host_Device>> device = report.openDevice(object.getName());
    if (!device) {
        DEBUG_LOG("%s::audit: error opening device %s\n", className, object.getName().c_str());
        return false;
    }
    return Storage_AuditLVMHeader(object, **device, report, className);
}

bool Storage_AuditLVMAllocation(System_Object& object, Storage_HostReport& report) {
    if (!Storage_IsInVolumeGroup(object))
        return true;
    const Storage_PhysicalVolume* volume = report.physicalVolume(object.getName());
    if (volume == nullptr) {
        DEBUG_LOG("Storage_PhysicalDriveLinux::audit: OS command failed: %s\n",
                  report.failedCommand().c_str());
        return false;
    }
    if (volume->allocatedBytes)
        object.setAllocatedBytes(*volume->allocatedBytes);
    return true;
}

std::optional<Storage_RaidMembership>
Storage_FindRaidMembership(const std::string& device, Storage_RaidNames names, Storage_HostReport& report) {
    if (const Storage_BlockDevice* known = report.blockDevice(device))
        return membershipOf(*known, *report.blockDevices());
    Storage_RaidMembership found;
    if (report.isKernel("2.4")) {
        const Storage_Raidtab* raidtab = report.raidtab();
        if (raidtab == nullptr)
            return std::nullopt;
        const auto isDevice = [&](const std::string& member) {
            return member == device || (names == Storage_RaidNames::OrPartitions &&
                                        member.compare(0, drivePathLength, device) == 0);
        };
        for (const Storage_RaidtabArray& array : *raidtab) {
            if (std::none_of(array.members.begin(), array.members.end(), isDevice))
                continue;
            found.isMember = true;
            if (!array.device.empty())
                found.arrays.push_back(array.device);
            if (array.level)
                found.levels.push_back(*array.level);
        }
        return found;
    }
    const Storage_MdadmQuery* query = report.mdadmQuery(device);
    if (query == nullptr)
        return std::nullopt;
    // What later kernels' mdadm says has another form.
    if (query->isMember && report.isKernel("2.6")) {
        found.isMember = true;
        if (query->array)
            found.arrays.push_back(*query->array);
    }
    return found;
}
