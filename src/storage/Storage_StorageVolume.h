#pragma once

#include "model/Storage_MapCollection.h"
#include "model/System_Object.h"

#include <memory>

/// A mounted file system. Its name is its mount point.
class Storage_StorageVolume : public System_Object {
public:
    /// Volumes are logical by nature.
    Storage_StorageVolume() { setPhysicality(Physicality_Logical); }
    StorageType getStorageType() const override { return StorageVolume; }
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override;
    using System_Object::operator=;
    virtual Storage_StorageVolume& operator=(const Storage_StorageVolume& other) = default;
};

struct Storage_StorageVolumesShape {
    using Member = Storage_StorageVolume;
    static constexpr const char* element = "StorageVolumes";
    static constexpr const char* memberElement = "StorageVolume";
    static std::unique_ptr<Member> allocate();
};

/// The mounted file systems of the host.
class Storage_StorageVolumes : public Storage_MapCollection<Storage_StorageVolumesShape> {
public:
    virtual void deallocateVolumeMap() { deallocateMap(); }
};
