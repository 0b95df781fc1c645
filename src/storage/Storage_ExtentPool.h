#pragma once

#include "model/Storage_MapCollection.h"
#include "model/System_Object.h"

#include <memory>

/// Extents that act as one device, on Linux a software RAID. Its name is the path of its device node; an
/// extent in no array has a placeholder.
class Storage_ExtentPool : public System_Object {
public:
    StorageType getStorageType() const override { return ExtentPool; }
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override;
    using System_Object::operator=;
    virtual Storage_ExtentPool& operator=(const Storage_ExtentPool& other) = default;
};

struct Storage_ExtentPoolsShape {
    using Member = Storage_ExtentPool;
    static constexpr const char* element = "ExtentPools";
    static constexpr const char* memberElement = "ExtentPool";
    static std::unique_ptr<Member> allocate();
};

/// The arrays of the host.
class Storage_ExtentPools : public Storage_MapCollection<Storage_ExtentPoolsShape> {
public:
    virtual void deallocateExtentPoolMap() { deallocateMap(); }
};
