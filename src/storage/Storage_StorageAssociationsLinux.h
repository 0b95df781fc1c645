#pragma once

#include "storage/Storage_StorageAssociations.h"

struct Storage_BlockDevice;
class Storage_BlockDevices;
class Storage_DriveExtents;
class Storage_ExtentPool;
class Storage_ExtentPools;
class Storage_StorageVolume;

/// The links of the host. Its audit runs last and adds those that span several levels. It does not audit
/// volume groups: without them, logical volumes keep their links and have no composition.
class Storage_StorageAssociationsLinux : public Storage_StorageAssociations {
public:
    bool audit() override;

private:
    void linkVolume(Storage_StorageVolume& volume, const std::string& device,
                    const Storage_DriveExtents& extents, const Storage_ExtentPools& pools);
    void linkLogicalVolume(Storage_StorageVolume& volume);
    void linkToExtent(Storage_StorageVolume& volume, const System_Object& extent);
    void linkToPool(Storage_StorageVolume& volume, const Storage_ExtentPool& pool,
                    const Storage_DriveExtents& extents);
    void linkToDrivesOf(const Storage_StorageVolume& volume, const System_Object& extent);
    /// Through whatever lies between, as the kernel knows it.
    void linkToDrivesBelow(const Storage_StorageVolume& volume, const Storage_BlockDevice& device,
                           const Storage_BlockDevices& devices);
    /// Once, however many of its extents the volume has.
    void linkToDrive(const Storage_StorageVolume& volume, const std::string& drive);
};
