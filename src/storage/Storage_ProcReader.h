#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// What the kernel says in files: below /proc, and the table of mounts. Pure functions; any text is welcome.

/// A device of /proc/scsi/scsi.
struct Storage_ScsiSection {
    int host = 0;
    int id = 0;
    int lun = 0;
    std::string type; ///< one word
};
std::vector<Storage_ScsiSection> Storage_ReadScsiSections(std::string_view text);

/// What /proc/ide/<device>/media says: "disk", "cdrom".
std::string Storage_ReadIdeMedia(std::string_view text);

/// A block device of /proc/partitions.
struct Storage_KernelPartition {
    std::string name;
    std::uint64_t totalBytes = 0;
};
std::vector<Storage_KernelPartition> Storage_ReadKernelPartitions(std::string_view text);

/// A line of fstab(5) form, as mtab and /proc/mounts have it.
struct Storage_Mount {
    std::string device;
    std::string mountPoint;
    std::string type;
    /// Mounted with the option "ignore".
    bool isIgnored = false;
};
std::vector<Storage_Mount> Storage_ReadMounts(const std::string& text);

/// The device of a mount, by its numbers.
struct Storage_MountDevice {
    std::string mountPoint;
    unsigned major = 0;
    unsigned minor = 0;
};
/// From /proc/self/mountinfo, see proc(5).
std::vector<Storage_MountDevice> Storage_ReadMountInfo(std::string_view text);

/// The devices and files of /proc/swaps.
std::vector<std::string> Storage_ReadSwaps(std::string_view text);
