#include "storage/Storage_Container.h"

#include "storage/Storage_DriveExtent.h"
#include "storage/Storage_ExtentPool.h"
#include "storage/Storage_PhysicalDrive.h"
#include "storage/Storage_Plex.h"
#include "storage/Storage_StorageAssociations.h"
#include "storage/Storage_StorageVolume.h"

#include <utility>

std::unique_ptr<Storage_Container> gStorageContainer;

Storage_Container::Storage_Container() = default;

Storage_Container::~Storage_Container() {
    clear();
    unlock();
}

bool Storage_Container::lock() {
    if (!Thread_LockMutex(mutex_.get()))
        return false;
    locked_ = true;
    return true;
}

void Storage_Container::unlock() {
    if (locked_.exchange(false))
        Thread_UnLockMutex(mutex_.get());
}

void Storage_Container::clear() {
    physicalDrives_.reset();
    driveExtents_.reset();
    extentPools_.reset();
    plexes_.reset();
    storageVolumes_.reset();
    storageAssociations_.reset();
}

void Storage_Container::setPhysicalDrives(std::unique_ptr<Storage_PhysicalDrives> drives) {
    physicalDrives_ = std::move(drives);
}

void Storage_Container::setDriveExtents(std::unique_ptr<Storage_DriveExtents> extents) {
    driveExtents_ = std::move(extents);
}

void Storage_Container::setExtentPools(std::unique_ptr<Storage_ExtentPools> pools) {
    extentPools_ = std::move(pools);
}

void Storage_Container::setPlexes(std::unique_ptr<Storage_Plexes> plexes) {
    plexes_ = std::move(plexes);
}

void Storage_Container::setStorageVolumes(std::unique_ptr<Storage_StorageVolumes> volumes) {
    storageVolumes_ = std::move(volumes);
}

void Storage_Container::setStorageAssociations(std::unique_ptr<Storage_StorageAssociations> associations) {
    storageAssociations_ = std::move(associations);
}
