#include "storage/Storage_ExtentPoolLinux.h"

#include "log/Debug_Printf.h"
#include "storage/Storage_Container.h"
#include "storage/Storage_DriveExtentLinux.h"
#include "storage/Storage_HostReport.h"
#include "storage/Storage_Membership.h"
#include "storage/Storage_PhysicalDriveLinux.h"
#include "storage/Storage_Plex.h"
#include "storage/Storage_RaidLevels.h"
#include "storage/Storage_StorageAssociations.h"
#include "storage/Storage_StorageVolume.h"

#include <memory>

namespace {

constexpr const char* poolClass = "Storage_ExtentPoolLinux";
/// Of the kernel's names for arrays: "md0".
constexpr char arrayInitial = 'm';

} // namespace

bool Storage_ExtentPoolsLinux::audit() {
    DEBUG_LOG("Storage_ExtentPoolsLinux::audit\n");
    auditExtentPools();
    setAuditResult(true);
    setAudited();
    return true;
}

bool Storage_ExtentPoolsLinux::auditExtentPools() {
    Storage_Container& container = *gStorageContainer;
    const auto* drives = container.ensureAudited<Storage_PhysicalDrives>(
        *this, "Storage_ExtentPoolsLinux::auditExtentPools: failed to audit physical drives\n");
    if (drives == nullptr)
        return false;
    const auto* extents = container.ensureAudited<Storage_DriveExtents>(
        *this, "Storage_ExtentPoolsLinux::auditExtentPools: failed to audit drive extents\n");
    if (extents == nullptr)
        return false;
    if (container.ensureAudited<Storage_StorageVolumes>(
            *this, "Storage_ExtentPoolsLinux::auditExtentPools: failed to audit storage volumes\n") ==
        nullptr)
        return false;

    for (const auto& entry : drives->getMap()) {
        const auto& drive = static_cast<const Storage_PhysicalDriveLinux&>(*entry.second);
        if (drive.getIsWholeDrive() && !drive.getIsPartOfMetaDevice() && !addPlaceholder(drive))
            return false;
    }
    for (const auto& entry : extents->getMap()) {
        const auto& extent = static_cast<const Storage_DriveExtentLinux&>(*entry.second);
        if (extent.getExistence() != Existence_False && !extent.getIsPartOfMetaDevice() &&
            !addPlaceholder(extent))
            return false;
    }
    if (!addArrays())
        return false;
    for (const auto& entry : getMap())
        if (entry.second->getExistence() != Existence_False)
            DEBUG_LOG("Storage_ExtentPoolsLinux::auditExtentPools: pool = %s\n", entry.first.c_str());
    return true;
}

bool Storage_ExtentPoolsLinux::addPlaceholder(const System_Object& object) {
    std::unique_ptr<Storage_ExtentPool> pool = makePlaceholder(object);
    if (!pool) {
        DEBUG_LOG("Storage_ExtentPoolsLinux::auditExtentPools: failed to allocate extent pool\n");
        return false;
    }
    Storage_StorageAssociations& associations = *gStorageContainer->getStorageAssociations();
    associations.addAssociation(object, *pool);
    std::vector<std::string> plexes;
    if (Storage_IsInVolumeGroup(object))
        associations.getAssociates(object, System_Object::Plex, plexes);
    else
        plexes.push_back(Storage_Plexes::placeholderName(object.getName()));
    for (const std::string& plex : plexes)
        associations.addAssociation(*pool, plex, System_Object::Plex);
    insert(std::move(pool));
    return true;
}

bool Storage_ExtentPoolsLinux::addArrays() {
    Storage_HostReport& report = gStorageContainer->report(*this);
    if (const Storage_BlockDevices* known = report.blockDevices()) {
        for (const auto& [name, device] : known->all())
            if (Storage_IsRunningArray(device) && !addArray(device.path, device.totalBytes))
                return false;
        return true;
    }
    const std::vector<Storage_KernelPartition>* devices = report.kernelPartitions();
    if (devices == nullptr) {
        DEBUG_LOG("Storage_ExtentPoolsLinux::auditExtentPools: OS command failed: %s\n",
                  report.failedCommand().c_str());
        return false;
    }
    for (const Storage_KernelPartition& device : *devices) {
        if (device.name.front() == arrayInitial && !addArray("/dev/" + device.name, device.totalBytes))
            return false;
    }
    return true;
}

bool Storage_ExtentPoolsLinux::addArray(const std::string& path, std::uint64_t totalBytes) {
    std::unique_ptr<Storage_ExtentPool> pool = Storage_FactoryAllocateExtentPool();
    if (!pool) {
        DEBUG_LOG("Storage_ExtentPoolsLinux::auditExtentPools: failed to allocate extent pool\n");
        return false;
    }
    pool->setName(path.c_str());
    pool->setExistence(Existence_True);
    pool->setPhysicality(Physicality_Logical);
    pool->setTotalBytes(totalBytes);
    auditAndInsert(std::move(pool));
    return true;
}

bool Storage_ExtentPoolLinux::audit() {
    if (getName().empty()) {
        DEBUG_LOG("Storage_ExtentPoolLinux::audit: failed: Name is empty\n");
        return false;
    }
    Storage_HostReport& report = gStorageContainer->report(*this);
    if (!Storage_AuditLVMMembership(*this, report, poolClass))
        return false;
    if (!Storage_IsInVolumeGroup(*this))
        gStorageContainer->getStorageAssociations()->addAssociation(
            *this, Storage_Plexes::placeholderName(getName()), Plex);
    if (auditRaid(report))
        return true;
    DEBUG_LOG("Storage_ExtentPoolLinux::audit: OS command failed: %s\n", report.failedCommand().c_str());
    return false;
}

bool Storage_ExtentPoolLinux::auditRaid(Storage_HostReport& report) {
    if (!report.isKernel("2.4")) {
        const Storage_MdadmDetail* detail = report.mdadmDetail(getName());
        if (detail == nullptr)
            return false;
        show(detail->level, detail->members, report.isLaterKernel());
        return true;
    }
    const Storage_Raidtab* raidtab = report.raidtab();
    if (raidtab == nullptr)
        return false;
    for (const Storage_RaidtabArray& array : *raidtab)
        if (array.device == getName())
            show(array.level, array.members, false);
    return true;
}

void Storage_ExtentPoolLinux::show(const std::optional<std::string>& level,
                                   const std::vector<std::string>& members, bool isLaterKernel) {
    if (level)
        Storage_ShowRaidLevel(*this, *level, Storage_RaidShows::FlagsAndComposition, isLaterKernel);
    for (const std::string& member : members)
        gStorageContainer->getStorageAssociations()->addAssociation(member, DriveExtent, getName(),
                                                                    ExtentPool);
}
