#pragma once

#include "model/System_Allocate.h"
#include "storage/Storage_DriveExtent.h"
#include "storage/Storage_ExtentPool.h"
#include "storage/Storage_Levels.h"
#include "storage/Storage_PhysicalDrive.h"
#include "storage/Storage_Plex.h"
#include "storage/Storage_StorageAssociations.h"
#include "storage/Storage_StorageVolume.h"

#include <functional>
#include <string>

/// What the collections of a test do, by the names of their elements. Set before anything is audited; the
/// container's lock keeps audits apart.
struct Storage_Play {
    std::function<bool(const std::string& level, Storage_Collection&)> audit = [](auto&, auto&) {
        return true;
    };
    std::function<bool(const std::string& level)> serialize = [](auto&) { return true; };
    /// "audit Plexes", "cleanup Plexes", "delete Plexes".
    std::function<void(const std::string& event)> note = [](auto&) {};
};
inline Storage_Play* play = nullptr;

template <typename Base>
class Storage_PlayedObject : public Base {
public:
    using Base::operator=;
    bool audit() override { return true; }
};

/// Finds one item, and one that fails.
template <typename Base>
class Storage_PlayedCollection : public Base {
public:
    ~Storage_PlayedCollection() override { play->note("delete " + level); }
    bool audit() override {
        play->note("audit " + level);
        if constexpr (requires { typename Base::Member; }) {
            auto member = std::make_unique<Storage_PlayedObject<typename Base::Member>>();
            member->setName("item");
            this->insert(std::move(member));
        }
        this->recordFailure("bad " + level, System_Object::Plex);
        return play->audit(level, *this);
    }
    bool cleanupAfterAudit() override {
        play->note("cleanup " + level);
        return Base::cleanupAfterAudit();
    }
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override {
        return play->serialize(level) && Base::serialize(document, parent, element);
    }

private:
    const std::string level = Storage_Type_Strings[Base::storageType];
};

template <typename... Bases>
Storage_LevelList Storage_PlayedLevelsOf() {
    Storage_LevelList levels = Storage_Levels;
    ((levels[Storage_LevelIndex(Bases::storageType)].allocate =
          System_Allocate<Storage_Collection, Storage_PlayedCollection<Bases>>),
     ...);
    return levels;
}

inline const Storage_LevelList Storage_PlayedLevels =
    Storage_PlayedLevelsOf<Storage_PhysicalDrives, Storage_DriveExtents, Storage_ExtentPools, Storage_Plexes,
                           Storage_StorageVolumes, Storage_StorageAssociations>();
