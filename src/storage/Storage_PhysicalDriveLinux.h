#pragma once

#include "storage/Storage_PhysicalDrive.h"

#include <memory>
#include <string>
#include <vector>

class Host_Device;
struct Storage_BlockDevice;
class Storage_HostReport;

/// A disk as the kernel knows it.
class Storage_PhysicalDriveLinux : public Storage_PhysicalDrive {
public:
    using Storage_PhysicalDrive::operator=;
    /// The name is the path of the device node.
    bool audit() override;
    /// What the drive says of itself. Only the second fails if it says nothing.
    bool auditIDE(Host_Device& device);
    bool auditSCSI(Host_Device& device);
    /// What volume groups and arrays make of the drive. False if a tool could not be run; what was found
    /// until then stays.
    bool auditLVM();
    bool auditRaid();

    int getSCSIHost() const { return scsiHost_; }
    void setSCSIHost(int host) { scsiHost_ = host; }
    int getSCSIId() const { return scsiId_; }
    void setSCSIId(int id) { scsiId_ = id; }
    int getSCSILun() const { return scsiLun_; }
    void setSCSILun(int lun) { scsiLun_ = lun; }
    /// Whether the drive is a member of an array.
    bool getIsPartOfMetaDevice() const { return isPartOfMetaDevice_; }
    void setIsPartOfMetaDevice(bool isPart) { isPartOfMetaDevice_ = isPart; }
    /// Whether the drive has no partition table, so that placeholders stand for the levels above it.
    bool getIsWholeDrive() const { return isWholeDrive_; }
    void setIsWholeDrive(bool isWhole) { isWholeDrive_ = isWhole; }

private:
    /// By asking the drive, or as far as the kernel has its own account.
    bool auditDevice(Storage_HostReport& report);
    bool auditKnown(const Storage_BlockDevice& known, Storage_HostReport& report);
    bool auditIdentity(Host_Device& device);
    bool auditSize(Storage_HostReport& report);
    bool auditRaid(Storage_HostReport& report);
    /// Whether a member works in its array, and its level where it tells that itself. False if a tool could
    /// not be run.
    bool auditRaidState(Storage_HostReport& report, bool isKernel24, std::vector<std::string>& levels);

    int scsiHost_ = 0;
    int scsiId_ = 0;
    int scsiLun_ = 0;
    bool isPartOfMetaDevice_ = false;
    bool isWholeDrive_ = false;
};

/// The disks that have nodes in the folders of devices.
class Storage_PhysicalDrivesLinux : public Storage_PhysicalDrives {
public:
    bool audit() override;
    /// Whether a node of that name is a whole drive. `subsystem` is an index of the tables of drive families.
    static bool isValidDrive(const std::string& name, int subsystem);

private:
    enum class Outcome { GoOn, FolderDone, AuditFailed };
    enum class Verdict { Accepted, NoDisk, Unreachable };

    class SANMap;

    /// Those that the nodes' names do not show to be drives.
    bool auditDrivesOfKernel(const SANMap& sanMap);
    void admit(std::unique_ptr<Storage_PhysicalDrive> allocated, const SANMap& sanMap);
    bool auditSubsystem(int subsystem, const SANMap& sanMap);
    Outcome auditEntry(int subsystem, const std::string& folder, const std::string& entry,
                       const SANMap& sanMap);
    Verdict classify(Storage_PhysicalDriveLinux& drive, Host_Device& device, int subsystem,
                     const std::string& entry);
};
