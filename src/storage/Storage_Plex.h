#pragma once

#include "model/Storage_MapCollection.h"
#include "model/System_XMLObject.h"
#include "storage/Storage_Factory.h"

/// The level between pools and volumes, on Linux a volume group. Its name is the name of the group; what
/// belongs to no group has a placeholder.
class Storage_Plex : public System_XMLObject<Storage_Plex, System_Object::Plex> {
public:
    using System_Object::operator=;
    virtual Storage_Plex& operator=(const Storage_Plex& other) = default;
};

/// The volume groups of the host.
class Storage_Plexes
    : public Storage_MapCollection<Storage_Plex, System_Object::Plexes, Storage_FactoryAllocatePlex> {
public:
    void deallocatePlexMap() { deallocateMap(); }
};
