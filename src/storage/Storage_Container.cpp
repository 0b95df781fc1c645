#include "storage/Storage_Container.h"

#include "log/Debug_Printf.h"
#include "model/Auditable_TryAudit.h"
#include "storage/Storage_DriveExtent.h"
#include "storage/Storage_ExtentPool.h"
#include "storage/Storage_PhysicalDrive.h"
#include "storage/Storage_Plex.h"
#include "storage/Storage_StorageAssociations.h"
#include "storage/Storage_StorageVolume.h"

#include <utility>

std::unique_ptr<Storage_Container> gStorageContainer;

Storage_Container::Storage_Container(const Storage_LevelList& levels) : levels_(levels) {}

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
    if (!locked_.exchange(false))
        return;
    report_.reset(); // what is kept until the next request are the collections alone
    Thread_UnLockMutex(mutex_.get());
}

void Storage_Container::clear() {
    for (std::unique_ptr<Storage_Collection>& collection : collections_)
        collection.reset();
    report_.reset();
}

Storage_HostReport& Storage_Container::report(const Auditable_Auditable& asker) {
    if (!report_)
        report_.emplace(asker.getHost());
    return *report_;
}

Storage_Collection* Storage_Container::get(System_Object::StorageType type) const {
    return collections_[Storage_LevelIndex(type)].get();
}

void Storage_Container::set(System_Object::StorageType type, std::unique_ptr<Storage_Collection> collection) {
    collections_[Storage_LevelIndex(type)] = std::move(collection);
}

Storage_Collection* Storage_Container::allocate(System_Object::StorageType type) {
    set(type, levels_[Storage_LevelIndex(type)].allocate());
    return get(type);
}

Storage_Collection* Storage_Container::ensure(System_Object::StorageType type) {
    Storage_Collection* collection = get(type);
    return collection != nullptr ? collection : allocate(type);
}

Storage_Collection* Storage_Container::ensureAudited(System_Object::StorageType type,
                                                     const Auditable_Auditable& asker, const char* failure) {
    Storage_Collection* collection = get(type);
    if (collection == nullptr) {
        collection = allocate(type);
        if (collection != nullptr)
            collection->setHost(asker.getHost());
    }
    if (collection != nullptr && (collection->hasAudited() || Auditable_TryAudit(*collection)))
        return collection;
    DEBUG_LOG("%s", failure);
    return nullptr;
}

Storage_PhysicalDrives* Storage_Container::getPhysicalDrives() const {
    return get<Storage_PhysicalDrives>();
}

Storage_DriveExtents* Storage_Container::getDriveExtents() const {
    return get<Storage_DriveExtents>();
}

Storage_ExtentPools* Storage_Container::getExtentPools() const {
    return get<Storage_ExtentPools>();
}

Storage_Plexes* Storage_Container::getPlexes() const {
    return get<Storage_Plexes>();
}

Storage_StorageVolumes* Storage_Container::getStorageVolumes() const {
    return get<Storage_StorageVolumes>();
}

Storage_StorageAssociations* Storage_Container::getStorageAssociations() const {
    return get<Storage_StorageAssociations>();
}

void Storage_Container::setPhysicalDrives(std::unique_ptr<Storage_PhysicalDrives> drives) {
    set(Storage_PhysicalDrives::storageType, std::move(drives));
}

void Storage_Container::setDriveExtents(std::unique_ptr<Storage_DriveExtents> extents) {
    set(Storage_DriveExtents::storageType, std::move(extents));
}

void Storage_Container::setExtentPools(std::unique_ptr<Storage_ExtentPools> pools) {
    set(Storage_ExtentPools::storageType, std::move(pools));
}

void Storage_Container::setPlexes(std::unique_ptr<Storage_Plexes> plexes) {
    set(Storage_Plexes::storageType, std::move(plexes));
}

void Storage_Container::setStorageVolumes(std::unique_ptr<Storage_StorageVolumes> volumes) {
    set(Storage_StorageVolumes::storageType, std::move(volumes));
}

void Storage_Container::setStorageAssociations(std::unique_ptr<Storage_StorageAssociations> associations) {
    set(Storage_StorageAssociations::storageType, std::move(associations));
}
