#pragma once

#include "model/Storage_MapCollection.h"
#include "model/System_XMLObject.h"
#include "storage/Storage_Factory.h"

/// A slice of a drive, on Linux a partition. Its name is the path of its device node; a drive without a
/// partition table has one placeholder.
class Storage_DriveExtent : public System_XMLObject<Storage_DriveExtent, System_Object::DriveExtent> {
public:
    using System_Object::operator=;
    virtual Storage_DriveExtent& operator=(const Storage_DriveExtent& other) = default;
    /// Takes over what a drive and its extent have in common.
    virtual Storage_DriveExtent& operator=(const Storage_PhysicalDrive& drive);
};

/// The slices of all drives.
class Storage_DriveExtents : public Storage_MapCollection<Storage_DriveExtent, System_Object::DriveExtents,
                                                          Storage_FactoryAllocateDriveExtent> {
public:
    void deallocateDriveExtentMap() { deallocateMap(); }
};
