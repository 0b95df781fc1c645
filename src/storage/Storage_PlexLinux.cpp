#include "storage/Storage_PlexLinux.h"

#include "log/Debug_Printf.h"
#include "storage/Storage_Container.h"
#include "storage/Storage_DriveExtentLinux.h"
#include "storage/Storage_ExtentPool.h"
#include "storage/Storage_HostReport.h"
#include "storage/Storage_Membership.h"
#include "storage/Storage_PhysicalDriveLinux.h"
#include "storage/Storage_RaidLevels.h"

#include <memory>

bool Storage_PlexesLinux::audit() {
    DEBUG_LOG("Storage_PlexesLinux::audit\n");
    auditPlexes();
    setAuditResult(true);
    setAudited();
    return true;
}

bool Storage_PlexesLinux::auditPlexes() {
    Storage_Container& container = *gStorageContainer;
    const auto* drives = container.ensureAudited<Storage_PhysicalDrives>(
        *this, "Storage_PlexesLinux::auditPlexes: failed to audit physical drives\n");
    if (drives == nullptr)
        return false;
    for (const auto& entry : drives->getMap()) {
        const auto& drive = static_cast<const Storage_PhysicalDriveLinux&>(*entry.second);
        if (drive.getIsWholeDrive() && !drive.getIsPartOfMetaDevice() && !addPlaceholder(drive))
            return false;
    }
    const auto* extents = container.ensureAudited<Storage_DriveExtents>(
        *this, "Storage_PlexesLinux::auditPlexes: failed to audit drive  extents\n");
    if (extents == nullptr)
        return false;
    for (const auto& entry : extents->getMap()) {
        const auto& extent = static_cast<const Storage_DriveExtentLinux&>(*entry.second);
        if (extent.getExistence() != Existence_False && !extent.getIsPartOfMetaDevice() &&
            !addPlaceholder(extent))
            return false;
    }
    const auto* pools = container.ensureAudited<Storage_ExtentPools>(
        *this, "Storage_PlexesLinux::auditPlexes: failed to audit extent pools\n");
    if (pools == nullptr)
        return false;
    for (const auto& entry : pools->getMap())
        if (entry.second->getExistence() != Existence_False && !addPlaceholder(*entry.second))
            return false;
    if (!addGroups())
        return false;
    DEBUG_LOG("Storage_PlexesLinux::auditPlexes: succeeded\n");
    return true;
}

bool Storage_PlexesLinux::addPlaceholder(const System_Object& object) {
    // What is a physical volume belongs to a real group.
    if (Storage_IsInVolumeGroup(object))
        return true;
    std::unique_ptr<Storage_Plex> plex = makePlaceholder(object);
    if (!plex)
        return false;
    insert(std::move(plex));
    return true;
}

bool Storage_PlexesLinux::addGroups() {
    Storage_HostReport& report = gStorageContainer->report(*this);
    const std::vector<Storage_VolumeGroup>* groups = report.volumeGroups();
    if (groups == nullptr) {
        DEBUG_LOG("Storage_PlexesLinux::auditPlexes: OS command failed: %s\n",
                  report.failedCommand().c_str());
        return false;
    }
    for (const Storage_VolumeGroup& group : *groups) {
        std::unique_ptr<Storage_Plex> plex = Storage_FactoryAllocatePlex();
        if (!plex) {
            DEBUG_LOG("Storage_PlexesLinux::auditPlexes: failed to allocate plex\n");
            return false;
        }
        plex->setName(group.name.c_str());
        plex->setPhysicality(Physicality_Logical);
        plex->setVirtualMechanism(VirtualMechanism_LogicalVolumeManager);
        plex->setTotalBytes(group.totalBytes);
        auditAndInsert(std::move(plex));
    }
    return true;
}

bool Storage_PlexLinux::audit() {
    if (!Storage_IsInVolumeGroup(*this) || getExistence() == Existence_False)
        return true;
    Storage_HostReport& report = gStorageContainer->report(*this);
    const Storage_Segment* segment = report.segment(getName());
    if (segment == nullptr) {
        DEBUG_LOG("Storage_PlexLinux::auditPlex: OS command failed: %s\n", report.failedCommand().c_str());
        DEBUG_LOG("Storage_PlexesLinux::auditPlexes: failed\n");
        return false;
    }
    if (segment->type)
        Storage_ShowSegmentType(*this, *segment->type, report.isLaterKernel());
    DEBUG_LOG("Storage_PlexesLinux::auditPlexes: succeeded\n");
    return true;
}
