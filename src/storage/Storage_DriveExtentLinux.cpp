#include "storage/Storage_DriveExtentLinux.h"

#include "log/Debug_Printf.h"
#include "storage/Storage_Container.h"
#include "storage/Storage_ExtentPool.h"
#include "storage/Storage_HostReport.h"
#include "storage/Storage_Membership.h"
#include "storage/Storage_PhysicalDriveLinux.h"
#include "storage/Storage_RaidLevels.h"
#include "storage/Storage_StorageAssociations.h"
#include "storage/Storage_StorageVolume.h"

#include <algorithm>
#include <memory>
#include <set>
#include <string_view>

namespace {

constexpr const char* extentClass = "Storage_DriveExtentLinux";
/// The paths of all drives and partitions begin with it.
constexpr std::string_view devicePathStart = "/dev/";

} // namespace

/// What the mounted volumes lie on, which outlive it, and what the kernel swaps to.
class Storage_DriveExtentsLinux::UsedDevices {
public:
    UsedDevices(const Storage_StorageVolumes& volumes, Storage_HostReport& report) : report_(report) {
        for (const auto& [name, volume] : volumes.getMap()) {
            const std::string& path = volume->getDevicePath();
            if (const auto* device = report.mountedDevice(path, volume->getMountPoint()))
                devices_.insert(device);
            for (std::size_t at = path.find(devicePathStart); at != std::string::npos;
                 at = path.find(devicePathStart, at + 1))
                tails_.push_back(std::string_view(path).substr(at));
        }
        std::sort(tails_.begin(), tails_.end());
        devices_.merge(report.swapDevices());
    }

    /// Whether a volume or swap space is on this device; where only names are known, also one whose name
    /// begins alike.
    bool has(const std::string& path) const {
        if (const Storage_BlockDevice* device = report_.blockDevice(path))
            return devices_.contains(device);
        const auto tail = std::lower_bound(tails_.begin(), tails_.end(), path);
        return tail != tails_.end() && tail->starts_with(path);
    }

private:
    Storage_HostReport& report_;
    std::set<const Storage_BlockDevice*> devices_;
    /// Of the volumes' own paths, from each place on where a device's may begin; sorted. Views, as whoever
    /// may mount something chooses a path of 4,000 bytes that has hundreds of them.
    std::vector<std::string_view> tails_;
};

bool Storage_DriveExtentsLinux::audit() {
    DEBUG_LOG("Storage_DriveExtentsLinux::audit\n");
    auditDriveExtents();
    setAuditResult(true);
    setAudited();
    return true;
}

bool Storage_DriveExtentsLinux::auditDriveExtents() {
    Storage_Container& container = *gStorageContainer;
    if (container.ensure<Storage_StorageAssociations>() == nullptr)
        return false;
    const auto* volumes = container.ensureAudited<Storage_StorageVolumes>(
        *this, "Storage_DriveExtentsLinux::auditDriveExtents: failed to audit storage volumes\n");
    if (volumes == nullptr)
        return false;
    const auto* drives = container.ensureAudited<Storage_PhysicalDrives>(
        *this, "Storage_DriveExtentsLinux::auditDriveExtents: failed to audit physical drives\n");
    if (drives == nullptr)
        return false;
    Storage_HostReport& report = container.report(*this);
    const UsedDevices used(*volumes, report);
    for (const auto& entry : drives->getMap())
        addPlaceholder(static_cast<const Storage_PhysicalDriveLinux&>(*entry.second), used);

    const std::vector<Storage_FdiskPartition>* partitions = report.partitions();
    if (partitions == nullptr) {
        DEBUG_LOG("Storage_DriveExtentsLinux::auditDriveExtents: OS command failed: %s\n",
                  report.failedCommand().c_str());
        return false;
    }
    for (const Storage_FdiskPartition& partition : *partitions)
        addPartition(partition, used);
    return true;
}

void Storage_DriveExtentsLinux::addPlaceholder(const Storage_PhysicalDriveLinux& drive,
                                               const UsedDevices& used) {
    if (!drive.getIsWholeDrive())
        return;
    std::unique_ptr<Storage_DriveExtent> extent = makePlaceholder(drive);
    if (!extent)
        return;
    if (drive.getVirtualMechanism() == VirtualMechanism_None && used.has(drive.getName()))
        extent->setAllocatedBytes(extent->getTotalBytes());
    Storage_StorageAssociations& associations = *gStorageContainer->getStorageAssociations();
    associations.addAssociation(*extent, drive);
    std::vector<std::string> pools;
    if (drive.getIsPartOfMetaDevice())
        associations.getAssociates(drive, System_Object::ExtentPool, pools);
    else
        pools.push_back(Storage_ExtentPools::placeholderName(drive.getName()));
    if (!pools.empty())
        associations.addAssociation(*extent, pools.front(), System_Object::ExtentPool);
    insert(std::move(extent));
}

void Storage_DriveExtentsLinux::addPartition(const Storage_FdiskPartition& partition,
                                             const UsedDevices& used) {
    std::unique_ptr<Storage_DriveExtent> extent = Storage_FactoryAllocateDriveExtent();
    if (!extent)
        return;
    extent->setName(partition.device.c_str());
    extent->setExistence(Existence_True);
    extent->setPhysicality(Physicality_Logical);
    gStorageContainer->getStorageAssociations()->addAssociation(*extent, partition.disk,
                                                                System_Object::PhysicalDrive);
    if (partition.isExtended)
        return;
    extent->setOffsetBytes(partition.offsetBytes);
    extent->setTotalBytes(partition.totalBytes);
    if (partition.isAllocated || used.has(partition.device))
        extent->setAllocatedBytes(partition.totalBytes);
    auditAndInsert(std::move(extent));
}

bool Storage_DriveExtentLinux::audit() {
    if (getName().empty()) {
        DEBUG_LOG("Storage_DriveExtentLinux::audit: getName is empty\n");
        return false;
    }
    Storage_HostReport& report = gStorageContainer->report(*this);
    if (!Storage_AuditLVMMembership(*this, report, extentClass))
        return false;
    const auto fail = [&] {
        DEBUG_LOG("Storage_PhysicalDriveLinux::auditRaid: OS command failed: %s\n",
                  report.failedCommand().c_str());
        return false;
    };
    const std::optional<Storage_RaidMembership> membership =
        Storage_FindRaidMembership(getName(), Storage_RaidNames::Exactly, report);
    if (!membership)
        return fail();
    setIsPartOfMetaDevice(membership->isMember);
    std::vector<std::string> levels = membership->levels;
    if (membership->isMember && !membership->isSettled && !auditRaid(report, levels))
        return fail();
    // mdadm(8) goes by what the device itself says; raidtab(5) also names those that are out of their array.
    if (isPartOfMetaDevice_ || !report.isKernel("2.4"))
        for (const std::string& array : membership->arrays)
            gStorageContainer->getStorageAssociations()->addAssociation(*this, array, ExtentPool);
    if (!Storage_AuditLVMAllocation(*this, report))
        return false;
    if (isPartOfMetaDevice_)
        for (const std::string& level : levels)
            Storage_ShowRaidLevel(*this, level, Storage_RaidShows::FlagsAndComposition,
                                  report.isLaterKernel());
    return true;
}

bool Storage_DriveExtentLinux::auditRaid(Storage_HostReport& report, std::vector<std::string>& levels) {
    bool isIdle = false;
    if (report.isKernel("2.4")) {
        const Storage_LsraidState* state = report.lsraid(getName());
        if (state == nullptr)
            return false;
        isIdle = state->isOffline;
    } else {
        const Storage_MdadmExamine* examined = report.mdadmExamine(getName());
        if (examined == nullptr)
            return false;
        isIdle = examined->isInactive;
        if (examined->level)
            levels.push_back(*examined->level);
    }
    if (isIdle) {
        setIsPartOfMetaDevice(false);
        setAllocatedBytes(0);
    }
    return true;
}
