#pragma once

#include "model/Storage_MapCollection.h"
#include "model/System_XMLObject.h"
#include "storage/Storage_Factory.h"

/// Extents that act as one device, on Linux a software RAID. Its name is the path of its device node; an
/// extent in no array has a placeholder.
class Storage_ExtentPool : public System_XMLObject<Storage_ExtentPool, System_Object::ExtentPool> {
public:
    using System_Object::operator=;
    virtual Storage_ExtentPool& operator=(const Storage_ExtentPool& other) = default;
};

/// The arrays of the host.
class Storage_ExtentPools : public Storage_MapCollection<Storage_ExtentPool, System_Object::ExtentPools,
                                                         Storage_FactoryAllocateExtentPool> {
public:
    void deallocateExtentPoolMap() { deallocateMap(); }
};
