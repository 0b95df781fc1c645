#pragma once

#include "storage/Storage_PhysicalDrive.h"

/// A disk as the kernel knows it.
class Storage_PhysicalDriveLinux : public Storage_PhysicalDrive {
public:
    using Storage_PhysicalDrive::operator=;
    bool audit() override;

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
};
