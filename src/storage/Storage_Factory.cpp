#include "storage/Storage_Factory.h"

#include "storage/Storage_DriveExtent.h"
#include "storage/Storage_ExtentPool.h"
#include "storage/Storage_PhysicalDrive.h"
#include "storage/Storage_Plex.h"
#include "storage/Storage_StorageAssociations.h"
#include "storage/Storage_StorageVolume.h"

/// Entries are System_Allocate<Storage_Plex, Storage_PlexLinux> and the like.
Storage_Levels gStorageLevels = {};

namespace {

template <typename Object>
std::unique_ptr<Object> allocate(Storage_Allocator<Object> allocator) {
    return allocator != nullptr ? allocator() : nullptr;
}

} // namespace

std::unique_ptr<Storage_PhysicalDrives> Storage_FactoryAllocatePhysicalDrives() {
    return allocate(gStorageLevels.physicalDrives);
}

std::unique_ptr<Storage_PhysicalDrive> Storage_FactoryAllocatePhysicalDrive() {
    return allocate(gStorageLevels.physicalDrive);
}

std::unique_ptr<Storage_DriveExtents> Storage_FactoryAllocateDriveExtents() {
    return allocate(gStorageLevels.driveExtents);
}

std::unique_ptr<Storage_DriveExtent> Storage_FactoryAllocateDriveExtent() {
    return allocate(gStorageLevels.driveExtent);
}

std::unique_ptr<Storage_ExtentPools> Storage_FactoryAllocateExtentPools() {
    return allocate(gStorageLevels.extentPools);
}

std::unique_ptr<Storage_ExtentPool> Storage_FactoryAllocateExtentPool() {
    return allocate(gStorageLevels.extentPool);
}

std::unique_ptr<Storage_Plexes> Storage_FactoryAllocatePlexes() {
    return allocate(gStorageLevels.plexes);
}

std::unique_ptr<Storage_Plex> Storage_FactoryAllocatePlex() {
    return allocate(gStorageLevels.plex);
}

std::unique_ptr<Storage_StorageVolumes> Storage_FactoryAllocateStorageVolumes() {
    return allocate(gStorageLevels.storageVolumes);
}

std::unique_ptr<Storage_StorageVolume> Storage_FactoryAllocateStorageVolume() {
    return allocate(gStorageLevels.storageVolume);
}

std::unique_ptr<Storage_StorageAssociations> Storage_FactoryAllocateStorageAssociations() {
    return allocate(gStorageLevels.storageAssociations);
}
