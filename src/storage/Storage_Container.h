#pragma once

#include "storage/Storage_HostReport.h"
#include "storage/Storage_Levels.h"
#include "threads/Thread_Mutex.h"

#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <tuple>

class Storage_DriveExtents;
class Storage_ExtentPools;
class Storage_PhysicalDrives;
class Storage_Plexes;
class Storage_StorageAssociations;
class Storage_StorageVolumes;

/// The one place where the collections of a storage audit meet, and the lock that makes storage requests take
/// turns.
///
/// A request locks it, clears it, makes the collection that it was asked for and audits that; the audit adds
/// the levels that it needs. The lock is held until the request has ended; the collections stay until the
/// next request clears them, so nothing is cached from one to the next. Everything but lock and unlock is for
/// the holder of the lock. No other lock is taken inside this one, except that of the map of storage network
/// devices.
class Storage_Container {
public:
    /// `levels` says how collections are made: the rows of Storage_Levels, which may name other classes. It
    /// outlives the container.
    explicit Storage_Container(const Storage_LevelList& levels = Storage_Levels);
    Storage_Container(const Storage_Container&) = delete;
    Storage_Container& operator=(const Storage_Container&) = delete;
    /// Clears, and unlocks if it is still locked. Nobody may be waiting for the lock.
    virtual ~Storage_Container();

    /// Waits until the container is free. True on success.
    bool lock();
    /// By the thread that has locked it. What was asked of the host goes. Nothing happens if the container is
    /// not locked.
    void unlock();
    /// Deletes the collections with their members, from the drives up, and what was asked of the host.
    void clear();

    /// Null if there is none. The container owns it.
    Storage_Collection* get(System_Object::StorageType type) const;
    /// Stored like any other if it is null; what was there before is deleted.
    void set(System_Object::StorageType type, std::unique_ptr<Storage_Collection> collection);
    /// A new collection in place of what was there. Null when memory is short.
    Storage_Collection* allocate(System_Object::StorageType type);
    /// The collection, made if there is none. Null when memory is short.
    template <typename Collection>
    Collection* ensure() {
        return static_cast<Collection*>(ensure(Collection::storageType));
    }
    /// What the audit of `asker` needs of another level: the collection, made for the same host if there is
    /// none and audited unless it has been. If that fails, logs `failure` and gives null; what was found
    /// until then stays.
    template <typename Collection>
    Collection* ensureAudited(const Auditable_Auditable& asker, const char* failure) {
        return static_cast<Collection*>(ensureAudited(Collection::storageType, asker, failure));
    }

    /// What this request has asked of its host: the host of whoever asks first.
    Storage_HostReport& report(const Auditable_Auditable& asker);

    Storage_PhysicalDrives* getPhysicalDrives() const;
    Storage_DriveExtents* getDriveExtents() const;
    Storage_ExtentPools* getExtentPools() const;
    Storage_Plexes* getPlexes() const;
    Storage_StorageVolumes* getStorageVolumes() const;
    Storage_StorageAssociations* getStorageAssociations() const;

    void setPhysicalDrives(std::unique_ptr<Storage_PhysicalDrives> drives);
    void setDriveExtents(std::unique_ptr<Storage_DriveExtents> extents);
    void setExtentPools(std::unique_ptr<Storage_ExtentPools> pools);
    void setPlexes(std::unique_ptr<Storage_Plexes> plexes);
    void setStorageVolumes(std::unique_ptr<Storage_StorageVolumes> volumes);
    void setStorageAssociations(std::unique_ptr<Storage_StorageAssociations> associations);

private:
    Storage_Collection* ensure(System_Object::StorageType type);
    Storage_Collection* ensureAudited(System_Object::StorageType type, const Auditable_Auditable& asker,
                                      const char* failure);
    template <typename Collection>
    Collection* get() const {
        return static_cast<Collection*>(get(Collection::storageType));
    }

    Thread_Mutex mutex_;
    std::atomic<bool> locked_ = false;
    const Storage_LevelList& levels_;
    /// By the index of the level.
    std::array<std::unique_ptr<Storage_Collection>, std::tuple_size_v<Storage_LevelList>> collections_;
    std::optional<Storage_HostReport> report_;
};

/// Made at start-up and gone at the end; null in between.
extern std::unique_ptr<Storage_Container> gStorageContainer;
