#include "storage/Storage_Factory.h"

#include "storage/Storage_DriveExtent.h"
#include "storage/Storage_ExtentPool.h"
#include "storage/Storage_Levels.h"
#include "storage/Storage_PhysicalDrive.h"
#include "storage/Storage_Plex.h"
#include "storage/Storage_StorageAssociations.h"
#include "storage/Storage_StorageVolume.h"

namespace {

template <typename Object, typename Base>
std::unique_ptr<Object> as(std::unique_ptr<Base> object) {
    return std::unique_ptr<Object>(static_cast<Object*>(object.release()));
}

template <typename Collection>
std::unique_ptr<Collection> collection() {
    return as<Collection>(Storage_Levels[Storage_LevelIndex(Collection::storageType)].allocate());
}

template <typename Collection>
std::unique_ptr<typename Collection::Member> memberOf() {
    return as<typename Collection::Member>(
        Storage_Levels[Storage_LevelIndex(Collection::storageType)].allocateMember());
}

} // namespace

std::unique_ptr<Storage_PhysicalDrives> Storage_FactoryAllocatePhysicalDrives() {
    return collection<Storage_PhysicalDrives>();
}

std::unique_ptr<Storage_PhysicalDrive> Storage_FactoryAllocatePhysicalDrive() {
    return memberOf<Storage_PhysicalDrives>();
}

std::unique_ptr<Storage_DriveExtents> Storage_FactoryAllocateDriveExtents() {
    return collection<Storage_DriveExtents>();
}

std::unique_ptr<Storage_DriveExtent> Storage_FactoryAllocateDriveExtent() {
    return memberOf<Storage_DriveExtents>();
}

std::unique_ptr<Storage_ExtentPools> Storage_FactoryAllocateExtentPools() {
    return collection<Storage_ExtentPools>();
}

std::unique_ptr<Storage_ExtentPool> Storage_FactoryAllocateExtentPool() {
    return memberOf<Storage_ExtentPools>();
}

std::unique_ptr<Storage_Plexes> Storage_FactoryAllocatePlexes() {
    return collection<Storage_Plexes>();
}

std::unique_ptr<Storage_Plex> Storage_FactoryAllocatePlex() {
    return memberOf<Storage_Plexes>();
}

std::unique_ptr<Storage_StorageVolumes> Storage_FactoryAllocateStorageVolumes() {
    return collection<Storage_StorageVolumes>();
}

std::unique_ptr<Storage_StorageVolume> Storage_FactoryAllocateStorageVolume() {
    return memberOf<Storage_StorageVolumes>();
}

std::unique_ptr<Storage_StorageAssociations> Storage_FactoryAllocateStorageAssociations() {
    return collection<Storage_StorageAssociations>();
}
