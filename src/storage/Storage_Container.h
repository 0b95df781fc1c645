#pragma once

#include "threads/Thread_Mutex.h"

#include <atomic>
#include <memory>

class Storage_DriveExtents;
class Storage_ExtentPools;
class Storage_PhysicalDrives;
class Storage_Plexes;
class Storage_StorageAssociations;
class Storage_StorageVolumes;

/// The one place where the collections of a storage audit meet, and the lock that makes storage requests take
/// turns.
///
/// A request locks it, clears it, stores the collection that it was asked for and audits that; the audit adds
/// the levels that it needs. The lock is held until the request has ended; the collections stay until the
/// next request clears them, so nothing is cached from one to the next. Everything but lock and unlock is for
/// the holder of the lock. No other lock is taken inside this one, except that of the map of storage network
/// devices.
class Storage_Container {
public:
    Storage_Container();
    Storage_Container(const Storage_Container&) = delete;
    Storage_Container& operator=(const Storage_Container&) = delete;
    /// Clears, and unlocks if it is still locked. Nobody may be waiting for the lock.
    virtual ~Storage_Container();

    /// Waits until the container is free. True on success.
    bool lock();
    /// By the thread that has locked it. Nothing happens if the container is not locked.
    void unlock();
    /// Deletes the collections with their members, from the drives up.
    void clear();

    /// Null if there is none. The container owns it.
    Storage_PhysicalDrives* getPhysicalDrives() const { return physicalDrives_.get(); }
    Storage_DriveExtents* getDriveExtents() const { return driveExtents_.get(); }
    Storage_ExtentPools* getExtentPools() const { return extentPools_.get(); }
    Storage_Plexes* getPlexes() const { return plexes_.get(); }
    Storage_StorageVolumes* getStorageVolumes() const { return storageVolumes_.get(); }
    Storage_StorageAssociations* getStorageAssociations() const { return storageAssociations_.get(); }

    /// Null is stored like any other; what was there before is deleted.
    void setPhysicalDrives(std::unique_ptr<Storage_PhysicalDrives> drives);
    void setDriveExtents(std::unique_ptr<Storage_DriveExtents> extents);
    void setExtentPools(std::unique_ptr<Storage_ExtentPools> pools);
    void setPlexes(std::unique_ptr<Storage_Plexes> plexes);
    void setStorageVolumes(std::unique_ptr<Storage_StorageVolumes> volumes);
    void setStorageAssociations(std::unique_ptr<Storage_StorageAssociations> associations);

private:
    Thread_Mutex mutex_;
    std::atomic<bool> locked_ = false;
    std::unique_ptr<Storage_PhysicalDrives> physicalDrives_;
    std::unique_ptr<Storage_DriveExtents> driveExtents_;
    std::unique_ptr<Storage_ExtentPools> extentPools_;
    std::unique_ptr<Storage_Plexes> plexes_;
    std::unique_ptr<Storage_StorageVolumes> storageVolumes_;
    std::unique_ptr<Storage_StorageAssociations> storageAssociations_;
};

/// Made at start-up and gone at the end; null in between.
extern std::unique_ptr<Storage_Container> gStorageContainer;
