#pragma once

#include "storage/Storage_StorageVolume.h"

struct Storage_BlockDevice;
class Storage_HostReport;
struct Storage_Mount;

/// A mount.
class Storage_StorageVolumeLinux : public Storage_StorageVolume {
public:
    using Storage_StorageVolume::operator=;
    bool audit() override;
    /// Whether the volume is a logical volume, and in which group. False if that cannot be found out.
    bool auditLVM();

private:
    /// Of a logical volume.
    void showGroup(const Storage_BlockDevice& device);
    bool findAmongLogicalVolumes(Storage_HostReport& report);
    bool askAboutLogicalVolume(Storage_HostReport& report);
};

/// The mounts that are no pseudo file systems. What cannot be found out leaves the collection with what it
/// has; its audit succeeds.
class Storage_StorageVolumesLinux : public Storage_StorageVolumes {
public:
    bool audit() override;
    bool auditVolumes();

private:
    bool addVolume(const Storage_Mount& mount, bool isNetwork);
};
