#pragma once

#include "model/Storage_MapCollection.h"
#include "model/System_Object.h"

#include <memory>

/// The level between pools and volumes, on Linux a volume group. Its name is the name of the group; what
/// belongs to no group has a placeholder.
class Storage_Plex : public System_Object {
public:
    StorageType getStorageType() const override { return Plex; }
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override;
    using System_Object::operator=;
    virtual Storage_Plex& operator=(const Storage_Plex& other) = default;
};

struct Storage_PlexesShape {
    using Member = Storage_Plex;
    static constexpr const char* element = "Plexes";
    static constexpr const char* memberElement = "Plex";
    static std::unique_ptr<Member> allocate();
};

/// The volume groups of the host.
class Storage_Plexes : public Storage_MapCollection<Storage_PlexesShape> {
public:
    virtual void deallocatePlexMap() { deallocateMap(); }
};
