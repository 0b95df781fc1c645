#include "storage/Storage_StorageVolumeLinux.h"

#include "host/Host_Host.h"
#include "log/Debug_Printf.h"
#include "storage/Storage_Container.h"
#include "storage/Storage_HostReport.h"
#include "storage/Storage_StorageAssociations.h"

#include <cstring>
#include <memory>
#include <string_view>

namespace {

/// Types of file systems that store nothing, or nothing of this host's.
constexpr std::string_view pseudoTypes =
    ":autofs:cdfs:devpts:fd:proc:lofs:hsfs:iso9660:specfs:fifofs:mntfs:namefs:sockfs:swapfs:pcfs:tmpfs:"
    "usbdevfs:rpc_pipefs:usbfs:sysfs:binfmt_misc:subfs:shm:nfsd:";
constexpr std::string_view networkTypes = ":nfs:nfs3:nfsdyn:cifs:smbfs:";
/// Those that kernels have had since series 3.
constexpr std::string_view laterPseudoTypes = ":devtmpfs:ramfs:cgroup:cgroup2:debugfs:tracefs:securityfs:"
                                              "selinuxfs:pstore:bpf:efivarfs:mqueue:hugetlbfs:"
                                              "configfs:fusectl:nsfs:";
constexpr std::string_view laterNetworkTypes =
    ":nfs4:smb3:ceph:glusterfs:fuse.glusterfs:9p:virtiofs:fuse.sshfs:";

bool isListed(std::string_view list, const std::string& type) {
    return list.find(':' + type + ':') != std::string_view::npos;
}

void logFailedCommand(const Storage_HostReport& report) {
    DEBUG_LOG("Storage_StorageVolumeLinux::auditLVM: OS command failed: %s\n",
              report.failedCommand().c_str());
}

} // namespace

bool Storage_StorageVolumesLinux::audit() {
    DEBUG_LOG("Storage_StorageVolumesLinux::audit\n");
    auditVolumes();
    setAuditResult(true);
    setAudited();
    return true;
}

bool Storage_StorageVolumesLinux::auditVolumes() {
    if (gStorageContainer->ensure<Storage_StorageAssociations>() == nullptr)
        return false;
    Storage_HostReport& report = gStorageContainer->report(*this);
    const std::vector<Storage_Mount>* mounts = report.mounts();
    if (mounts == nullptr) {
        DEBUG_LOG("Storage_StorageVolumesLinux::auditVolumes: failed to open /etc/mnttab\n");
        return false;
    }
    const bool isLaterKernel = report.isLaterKernel();
    for (const Storage_Mount& mount : *mounts) {
        DEBUG_LOG("Storage_StorageVolumeLinux::auditVolumes: volume: %s, fstype: %s\n",
                  mount.mountPoint.c_str(), mount.type.c_str());
        const bool storesNothing =
            isListed(pseudoTypes, mount.type) || (isLaterKernel && isListed(laterPseudoTypes, mount.type));
        if (!mount.isIgnored && !storesNothing &&
            !addVolume(mount, isListed(networkTypes, mount.type) ||
                                  (isLaterKernel && isListed(laterNetworkTypes, mount.type))))
            return false;
    }
    setAuditResult(true);
    DEBUG_LOG("Storage_StorageVolumesLinux::auditVolumes: succeeded\n");
    return true;
}

bool Storage_StorageVolumesLinux::addVolume(const Storage_Mount& mount, bool isNetwork) {
    std::unique_ptr<Storage_StorageVolume> volume = Storage_FactoryAllocateStorageVolume();
    if (!volume) {
        DEBUG_LOG("Storage_StorageVolumesLinux::auditVolumes: failed to allocate storage volume\n");
        return false;
    }
    volume->setName(mount.mountPoint.c_str());
    volume->setFileSystem(mount.type.c_str());
    volume->setDevicePath(mount.device.c_str());
    volume->setMountPoint(mount.mountPoint.c_str());
    volume->setExistence(Existence_True);
    volume->setPhysicality(Physicality_Logical);
    if (isNetwork) {
        volume->setIsNetwork(true);
        volume->setNetworkAddress(mount.device.c_str());
    }
    auditAndInsert(std::move(volume));
    return true;
}

bool Storage_StorageVolumeLinux::audit() {
    if (getName().empty()) {
        DEBUG_LOG("Storage_StorageVolumeLinux::audit: empty name\n");
        return false;
    }
    if (!getMountPoint().empty()) {
        const Host_Answer<Host_FileSystem> size =
            gStorageContainer->report(*this).fileSystem(getMountPoint());
        if (!size) {
            DEBUG_LOG("Storage_StorageVolumeLinux::audit: failed statfs\n");
            return false;
        }
        if (!getIsNetwork()) {
            setTotalBytes(size->blocks * size->blockSize);
            setUsedBytes(getTotalBytes() - size->freeBlocks * size->blockSize);
            setTotalInodes(size->inodes);
            setUsedInodes(size->inodes - size->freeInodes);
        }
        auditLVM();
    }
    DEBUG_LOG("Storage_StorageVolumeLinux::audit: succeeded\n");
    return true;
}

bool Storage_StorageVolumeLinux::auditLVM() {
    Storage_HostReport& report = gStorageContainer->report(*this);
    if (const Storage_BlockDevice* device = report.mountedDevice(getDevicePath(), getMountPoint())) {
        showGroup(*device);
        return true;
    }
    const bool done =
        report.isKernel("2.6") ? findAmongLogicalVolumes(report) : askAboutLogicalVolume(report);
    DEBUG_LOG("Storage_StorageVolumeLinux::auditLVM: %s\n", done ? "succeeded" : "failed");
    return done;
}

void Storage_StorageVolumeLinux::showGroup(const Storage_BlockDevice& device) {
    if (const std::optional<std::string> group = Storage_GroupOfMap(device)) {
        setVirtualMechanism(VirtualMechanism_LogicalVolumeManager);
        gStorageContainer->getStorageAssociations()->addAssociation(*this, *group, Plex);
    }
    DEBUG_LOG("Storage_StorageVolumeLinux::auditLVM: succeeded\n");
}

bool Storage_StorageVolumeLinux::findAmongLogicalVolumes(Storage_HostReport& report) {
    if (report.logicalVolumes() == nullptr) {
        logFailedCommand(report);
        return false;
    }
    const Host_Answer<const Storage_LogicalVolume*> found = report.logicalVolumeAt(getDevicePath());
    if (!found) {
        DEBUG_LOG("Storage_StorageVolumeLinux::auditLVM: readlink failed for %s. Reason: %s\n",
                  getDevicePath().c_str(), std::strerror(found.error()));
        return false;
    }
    const Storage_LogicalVolume* volume = *found;
    if (volume == nullptr)
        return true;
    setDevicePath(volume->path.c_str());
    setPhysicality(Physicality_Logical);
    setVirtualMechanism(VirtualMechanism_LogicalVolumeManager);
    if (volume->group)
        gStorageContainer->getStorageAssociations()->addAssociation(*this, *volume->group, Plex);
    return true;
}

bool Storage_StorageVolumeLinux::askAboutLogicalVolume(Storage_HostReport& report) {
    const Storage_LogicalVolumeOf* volume = report.logicalVolume(getDevicePath());
    if (volume == nullptr) {
        logFailedCommand(report);
        return false;
    }
    if (volume->isLogicalVolume) {
        setPhysicality(Physicality_Logical);
        setVirtualMechanism(VirtualMechanism_LogicalVolumeManager);
    }
    for (const std::string& group : volume->groups)
        gStorageContainer->getStorageAssociations()->addAssociation(*this, group, Plex);
    return true;
}
