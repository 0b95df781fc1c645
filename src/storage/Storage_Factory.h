#pragma once

#include <memory>

class Storage_DriveExtent;
class Storage_DriveExtents;
class Storage_ExtentPool;
class Storage_ExtentPools;
class Storage_PhysicalDrive;
class Storage_PhysicalDrives;
class Storage_Plex;
class Storage_Plexes;
class Storage_StorageAssociations;
class Storage_StorageVolume;
class Storage_StorageVolumes;

/// The one place that chooses the class of each level. A factory gives a new object, or null when it cannot
/// be made or when this agent has no class for the level. No exception leaves a factory.

std::unique_ptr<Storage_PhysicalDrives> Storage_FactoryAllocatePhysicalDrives();
std::unique_ptr<Storage_PhysicalDrive> Storage_FactoryAllocatePhysicalDrive();
std::unique_ptr<Storage_DriveExtents> Storage_FactoryAllocateDriveExtents();
std::unique_ptr<Storage_DriveExtent> Storage_FactoryAllocateDriveExtent();
std::unique_ptr<Storage_ExtentPools> Storage_FactoryAllocateExtentPools();
std::unique_ptr<Storage_ExtentPool> Storage_FactoryAllocateExtentPool();
std::unique_ptr<Storage_Plexes> Storage_FactoryAllocatePlexes();
std::unique_ptr<Storage_Plex> Storage_FactoryAllocatePlex();
std::unique_ptr<Storage_StorageVolumes> Storage_FactoryAllocateStorageVolumes();
std::unique_ptr<Storage_StorageVolume> Storage_FactoryAllocateStorageVolume();
std::unique_ptr<Storage_StorageAssociations> Storage_FactoryAllocateStorageAssociations();

/// How the object of a level is made; null where there is no class for it.
template <typename Object>
using Storage_Allocator = std::unique_ptr<Object> (*)();

/// The classes of all levels. Fixed from the start of the process; a test may put its own in while nothing is
/// audited.
struct Storage_Levels {
    Storage_Allocator<Storage_PhysicalDrives> physicalDrives;
    Storage_Allocator<Storage_PhysicalDrive> physicalDrive;
    Storage_Allocator<Storage_DriveExtents> driveExtents;
    Storage_Allocator<Storage_DriveExtent> driveExtent;
    Storage_Allocator<Storage_ExtentPools> extentPools;
    Storage_Allocator<Storage_ExtentPool> extentPool;
    Storage_Allocator<Storage_Plexes> plexes;
    Storage_Allocator<Storage_Plex> plex;
    Storage_Allocator<Storage_StorageVolumes> storageVolumes;
    Storage_Allocator<Storage_StorageVolume> storageVolume;
    Storage_Allocator<Storage_StorageAssociations> storageAssociations;
};
extern Storage_Levels gStorageLevels;
