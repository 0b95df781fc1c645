#pragma once

#include "model/Storage_MapCollection.h"
#include "model/System_Object.h"

#include <memory>

/// A whole disk. Its name is the path of its device node.
class Storage_PhysicalDrive : public System_Object {
public:
    StorageType getStorageType() const override { return PhysicalDrive; }
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override;
    using System_Object::operator=;
    virtual Storage_PhysicalDrive& operator=(const Storage_PhysicalDrive& other) = default;
};

struct Storage_PhysicalDrivesShape {
    using Member = Storage_PhysicalDrive;
    static constexpr const char* element = "PhysicalDrives";
    static constexpr const char* memberElement = "PhysicalDrive";
    static std::unique_ptr<Member> allocate();
};

/// The disks of the host.
class Storage_PhysicalDrives : public Storage_MapCollection<Storage_PhysicalDrivesShape> {
public:
    virtual void deallocateDriveMap() { deallocateMap(); }
};
