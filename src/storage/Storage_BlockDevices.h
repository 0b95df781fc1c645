#pragma once

#include "storage/Storage_FdiskReader.h"
#include "storage/Storage_RaidReader.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class Host_Host;

/// A member of a software RAID as the kernel accounts for it.
struct Storage_ArrayMember {
    std::string device; ///< kernel's name
    /// Holds data of the array, or is being given it; not a spare and not failed.
    bool isActive = false;
};

/// A block device as the kernel accounts for it in sysfs, with what udev has found on it. What is not known
/// is empty.
struct Storage_BlockDevice {
    enum class Kind {
        Drive,     ///< hardware of its own, or all paths to it as one
        DrivePath, ///< hardware that is reached through a multipath map, which is the drive
        Partition, ///< of a drive, of an array, or of another device
        Array,     ///< software RAID
        Mapped,    ///< made by the device mapper, other than multipath
        Other      ///< loop, ram, optical, without a medium or a peer, a boot area, and what else is no drive
    };

    std::string name; ///< kernel's: "sda1"
    std::string path; ///< its node in /dev, or below /dev/mapper
    unsigned major = 0;
    unsigned minor = 0;
    Kind kind = Kind::Other;
    std::uint64_t totalBytes = 0;
    std::uint64_t offsetBytes = 0; ///< of a partition
    std::string whole;             ///< kernel's name of what a partition is of
    /// Kernel's names of the devices that it lies on; of a partition none, see `whole`.
    std::vector<std::string> slaves;
    std::vector<std::string> partitions; ///< kernel's names
    /// Has a partition table, if only an empty one.
    bool isPartitioned = false;

    std::string subsystem; ///< of the hardware: "scsi", "nvme", "virtio", "mmc", "xen"
    std::string vendor;
    std::string model;
    std::string serial;
    /// The hardware is in a power saving state that only a request to it would end.
    bool isSuspended = false;

    std::string mapName;                      ///< of what the device mapper made
    std::string mapUuid;                      ///< begins with who made it: "LVM-", "CRYPT-", "mpath-"
    std::optional<std::string> level;         ///< of an array: "raid5"
    std::vector<Storage_ArrayMember> members; ///< of an array

    /// What udev's probe found: E properties, "ID_FS_TYPE" for one.
    std::map<std::string, std::string, std::less<>> properties;
    std::string_view property(std::string_view key) const {
        const auto found = properties.find(key);
        return found != properties.end() ? std::string_view(found->second) : std::string_view();
    }
};

/// The properties of an entry of udev's database: its lines that begin with "E:". Any text is welcome.
std::map<std::string, std::string, std::less<>> Storage_ReadUdevProperties(std::string_view text);

/// What fdisk would say of a drive and of the partitions of all drives, from the kernel's account.
Storage_FdiskDrive Storage_DriveOfKernel(const Storage_BlockDevice& drive);
class Storage_BlockDevices;
std::vector<Storage_FdiskPartition> Storage_PartitionsOfKernel(const Storage_BlockDevices& devices);

/// An array that can be used: it has been put together and started.
bool Storage_IsRunningArray(const Storage_BlockDevice& device);

/// What mdadm has told of an array, completed: it has rows of other forms for members of a RAID10, for one.
/// The members are drives and partitions; what lies on other arrays or on maps is no extent of a drive.
Storage_MdadmDetail Storage_DetailOfKernel(const Storage_MdadmDetail& told, const Storage_BlockDevice& array,
                                           const Storage_BlockDevices& devices);

/// The group of a logical volume, from the name of its map, in which each "-" of a name is doubled. Nothing
/// for what is none.
std::optional<std::string> Storage_GroupOfMap(const Storage_BlockDevice& device);

/// All block devices that the kernel has and that have a node of the same numbers: a private /dev may hold
/// fewer. Links between them are names of the kernel. Reads files only; no device is opened.
class Storage_BlockDevices {
public:
    Storage_BlockDevices() = default;
    explicit Storage_BlockDevices(Host_Host& host);

    /// False where there is no sysfs.
    bool areKnown() const { return areKnown_; }
    /// In the order of their names.
    const std::map<std::string, Storage_BlockDevice>& all() const { return devices_; }
    /// Null if there is none.
    const Storage_BlockDevice* find(const std::string& name) const;
    const Storage_BlockDevice* findByNumber(unsigned major, unsigned minor) const;
    /// By the node's path in `all`, without asking the host.
    const Storage_BlockDevice* findByPath(const std::string& path) const;
    /// The running arrays of which `device` is an active member, in the order of their names.
    std::vector<const Storage_BlockDevice*> arraysOf(const Storage_BlockDevice& device) const;
    /// What `device` lies on, itself included, down to the drives; each once, nearest first.
    std::vector<const Storage_BlockDevice*> below(const Storage_BlockDevice& device) const;

private:
    void add(Host_Host& host, const std::string& name);
    /// False if the entry of the device's folder is none.
    bool addPartition(Host_Host& host, const std::string& name, Storage_BlockDevice& whole);
    void markPaths();
    void addMembers(const Storage_BlockDevice& array);

    bool areKnown_ = false;
    std::map<std::string, Storage_BlockDevice> devices_;
    std::map<std::pair<unsigned, unsigned>, const Storage_BlockDevice*> byNumber_;
    std::map<std::string, const Storage_BlockDevice*> byPath_;
    std::map<std::string, std::vector<const Storage_BlockDevice*>> arraysByMember_;
};
