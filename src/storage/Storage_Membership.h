#pragma once

#include "model/System_Object.h"

#include <optional>
#include <string>
#include <vector>

class Host_Device;
struct Storage_BlockDevice;
class Storage_HostReport;

/// What drives, partitions and arrays are asked alike: whether they belong to a volume group or to a software
/// RAID. Null or empty answers of the host that mean a failure are logged here, with the name of the class
/// that asks.

/// Whether the object was found to be a physical volume, or to lie on a logical one.
inline bool Storage_IsInVolumeGroup(const System_Object& object) {
    return object.getVirtualMechanism() == VirtualMechanism_LogicalVolumeManager;
}

/// Looks for the header of a physical volume on the open device of `object`. If it is there, marks the object
/// and links it to its volume group, as far as that is known. False if the device cannot be read or the
/// group's name cannot be asked for.
bool Storage_AuditLVMHeader(System_Object& object, Host_Device& device, Storage_HostReport& report,
                            const char* className);

/// The same without a look at the device: by what udev and the tools have found.
bool Storage_AuditLVMOfKernel(System_Object& object, const Storage_BlockDevice& device,
                              Storage_HostReport& report);

/// One of the two, for an object of which nothing else is asked: the device is opened only if neither udev
/// nor the tools know it.
bool Storage_AuditLVMMembership(System_Object& object, Storage_HostReport& report, const char* className);

/// The bytes of a physical volume that logical volumes take. Nothing changes if they are not told. False if
/// the tool could not be run.
bool Storage_AuditLVMAllocation(System_Object& object, Storage_HostReport& report);

/// Which software RAID a device belongs to.
struct Storage_RaidMembership {
    bool isMember = false;
    /// Device paths.
    std::vector<std::string> arrays;
    /// As far as the source that tells of the membership knows them.
    std::vector<std::string> levels;
    /// Nothing is left to ask: the device works in these arrays, and their levels are known.
    bool isSettled = false;
};

/// How raidtab(5) names a member: by its own path, or a drive also by its partitions'.
enum class Storage_RaidNames { Exactly, OrPartitions };

/// Nothing if the source could not be asked.
std::optional<Storage_RaidMembership>
Storage_FindRaidMembership(const std::string& device, Storage_RaidNames names, Storage_HostReport& report);
