#pragma once

#include "storage/Storage_StorageAssociations.h"

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
    void linkVolume(Storage_StorageVolume& volume, const Storage_DriveExtents& extents,
                    const Storage_ExtentPools& pools);
    void linkLogicalVolume(Storage_StorageVolume& volume);
    void linkToExtent(Storage_StorageVolume& volume, const System_Object& extent);
    void linkToPool(Storage_StorageVolume& volume, const Storage_ExtentPool& pool,
                    const Storage_DriveExtents& extents);
    /// A drive is linked once, however many of its extents the volume has.
    void linkToDrivesOf(const Storage_StorageVolume& volume, const System_Object& extent);
};
