#include "storage/Storage_StorageAssociationsLinux.h"

#include "log/Debug_Printf.h"
#include "storage/Storage_Container.h"
#include "storage/Storage_DriveExtent.h"
#include "storage/Storage_ExtentPool.h"
#include "storage/Storage_Membership.h"
#include "storage/Storage_PhysicalDrive.h"
#include "storage/Storage_Plex.h"
#include "storage/Storage_StorageVolume.h"

namespace {

void addCompositions(System_Object& object, const System_Object& from) {
    for (const Storage_Composition composition : from.getComposition())
        object.addComposition(composition);
}

} // namespace

bool Storage_StorageAssociationsLinux::audit() {
    DEBUG_LOG("Storage_StorageAssociationsLinux::audit\n");
    Storage_Container& container = *gStorageContainer;
    if (container.ensureAudited<Storage_PhysicalDrives>(
            *this, "Storage_StorageAssociationsLinux::audit: failed to audit physical drives\n") == nullptr)
        return false;
    const auto* extents = container.ensureAudited<Storage_DriveExtents>(
        *this, "Storage_StorageAssociationsLinux::audit: failed to audit drive extents\n");
    if (extents == nullptr)
        return false;
    const auto* pools = container.ensureAudited<Storage_ExtentPools>(
        *this, "Storage_StorageAssociationsLinux::audit: failed to audit extent pools\n");
    if (pools == nullptr)
        return false;
    auto* volumes = container.ensureAudited<Storage_StorageVolumes>(
        *this, "Storage_StorageAssociationsLinux::audit: failed to audit volumes\n");
    if (volumes == nullptr)
        return false;
    Storage_HostReport& report = container.report(*this);
    for (const auto& entry : volumes->getMap()) {
        Storage_StorageVolume& volume = *entry.second;
        if (volume.getIsNetwork())
            continue;
        const Storage_BlockDevice* known =
            report.mountedDevice(volume.getDevicePath(), volume.getMountPoint());
        linkVolume(volume, known != nullptr ? known->path : volume.getDevicePath(), *extents, *pools);
        if (known != nullptr)
            linkToDrivesBelow(volume, *known, *report.blockDevices());
    }
    setAuditResult(true);
    return true;
}

void Storage_StorageAssociationsLinux::linkToDrivesBelow(const Storage_StorageVolume& volume,
                                                         const Storage_BlockDevice& device,
                                                         const Storage_BlockDevices& devices) {
    for (const Storage_BlockDevice* each : devices.below(device))
        if (each->kind == Storage_BlockDevice::Kind::Drive)
            linkToDrive(volume, each->path);
}

void Storage_StorageAssociationsLinux::linkToDrive(const Storage_StorageVolume& volume,
                                                   const std::string& drive) {
    if (!doesAssocPairExist(volume.getName(), System_Object::StorageVolume, drive,
                            System_Object::PhysicalDrive))
        addToStorageVolume_PhysicalDriveAssoc(volume.getName().c_str(), drive.c_str());
}

void Storage_StorageAssociationsLinux::linkVolume(Storage_StorageVolume& volume, const std::string& device,
                                                  const Storage_DriveExtents& extents,
                                                  const Storage_ExtentPools& pools) {
    if (Storage_IsInVolumeGroup(volume)) {
        linkLogicalVolume(volume);
        return;
    }
    if (const auto extent = extents.getMap().find(device); extent != extents.getMap().end())
        linkToExtent(volume, *extent->second);
    else if (const auto pool = pools.getMap().find(device); pool != pools.getMap().end())
        linkToPool(volume, *pool->second, extents);
}

void Storage_StorageAssociationsLinux::linkLogicalVolume(Storage_StorageVolume& volume) {
    const Storage_Plexes* plexes = gStorageContainer->getPlexes();
    if (plexes == nullptr)
        return;
    std::vector<std::string> groups;
    getAssociates(volume, System_Object::Plex, groups);
    for (const std::string& group : groups)
        if (const auto plex = plexes->getMap().find(group); plex != plexes->getMap().end())
            addCompositions(volume, *plex->second);
}

void Storage_StorageAssociationsLinux::linkToExtent(Storage_StorageVolume& volume,
                                                    const System_Object& extent) {
    linkToDrivesOf(volume, extent);
    volume.addComposition(Composition_Simple);
    addToStorageVolume_DriveExtentAssoc(volume.getName().c_str(), extent.getName().c_str());
    addToStorageVolume_PlexAssoc(volume.getName().c_str(),
                                 Storage_Plexes::placeholderName(extent.getName()).c_str());
}

void Storage_StorageAssociationsLinux::linkToPool(Storage_StorageVolume& volume,
                                                  const Storage_ExtentPool& pool,
                                                  const Storage_DriveExtents& extents) {
    std::vector<std::string> plexes;
    getAssociates(pool, System_Object::Plex, plexes);
    for (const std::string& plex : plexes)
        addToStorageVolume_PlexAssoc(volume.getName().c_str(), plex.c_str());
    addCompositions(volume, pool);
    std::vector<std::string> members;
    getAssociates(pool, System_Object::DriveExtent, members);
    for (const std::string& member : members)
        if (const auto extent = extents.getMap().find(member); extent != extents.getMap().end())
            linkToDrivesOf(volume, *extent->second);
}

void Storage_StorageAssociationsLinux::linkToDrivesOf(const Storage_StorageVolume& volume,
                                                      const System_Object& extent) {
    std::vector<std::string> drives;
    getAssociates(extent, System_Object::PhysicalDrive, drives);
    for (const std::string& drive : drives)
        linkToDrive(volume, drive);
}
