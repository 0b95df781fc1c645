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

/// New objects of the classes in Storage_Levels; null when memory is short. No exception leaves a factory.

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
