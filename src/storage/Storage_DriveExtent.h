#pragma once

#include "model/Storage_MapCollection.h"
#include "model/System_Object.h"

#include <memory>

class Storage_PhysicalDrive;

/// A slice of a drive, on Linux a partition. Its name is the path of its device node; a drive without a
/// partition table has one placeholder.
class Storage_DriveExtent : public System_Object {
public:
    StorageType getStorageType() const override { return DriveExtent; }
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override;
    using System_Object::operator=;
    virtual Storage_DriveExtent& operator=(const Storage_DriveExtent& other) = default;
    /// Takes over what a drive and its extent have in common, for the extent that stands for a whole drive.
    virtual Storage_DriveExtent& operator=(const Storage_PhysicalDrive& drive);
};

struct Storage_DriveExtentsShape {
    using Member = Storage_DriveExtent;
    static constexpr const char* element = "DriveExtents";
    static constexpr const char* memberElement = "DriveExtent";
    static std::unique_ptr<Member> allocate();
};

/// The slices of all drives.
class Storage_DriveExtents : public Storage_MapCollection<Storage_DriveExtentsShape> {
public:
    virtual void deallocateDriveExtentMap() { deallocateMap(); }
};
