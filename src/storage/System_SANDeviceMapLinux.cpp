#include "storage/System_SANDeviceMapLinux.h"

#include "host/Host_Host.h"
#include "log/Debug_Printf.h"

#include <array>
#include <cstdio>
#include <new>

System_SANDeviceMapLinux* System_SANDeviceMapLinux::getPInstance() {
    static System_SANDeviceMapLinux* const instance = new System_SANDeviceMapLinux;
    return instance;
}

bool System_SANDeviceMapLinux::audit() {
    const bool isAudited = auditFCPTargetMap();
    if (isAudited)
        buildSANMapFromTargetMap();
    setAuditResult(isAudited);
    return isAudited;
}

bool System_SANDeviceMapLinux::prepareForAudit() {
    map_.clear();
    return true;
}

bool System_SANDeviceMapLinux::cleanupAfterAudit() {
    map_.clear();
    return true;
}

std::string System_SANDeviceMapLinux::getSANAddress(const char* device) const {
    if (map_.empty() || device == nullptr) // no reason to disturb a device
        return {};
    std::array<char, scsiIDSize> id = {};
    auto found = deviceFileToSCSIID(device, id.data()) ? map_.find(id.data()) : map_.end();
    if (found == map_.end())
        found = map_.find(device);
    return found == map_.end() ? std::string() : found->second;
}

bool System_SANDeviceMapLinux::scsiIDToDeviceFile(const std::string& id, std::string& file) const {
    file = id;
    return true;
}

bool System_SANDeviceMapLinux::deviceFileToSCSIID(const char* path, char* id) const {
    if (path == nullptr) {
        DEBUG_LOG("System_SANDeviceMapLinux::deviceFileToSCSIID() got a NULL driveName\n");
        return false;
    }
    const Host_Answer<std::unique_ptr<Host_Device>> device = getHost().openDevice(path);
    if (!device) {
        DEBUG_LOG("System_SANDeviceMapLinux::deviceFileToSCSIID() unable to open device %s\n", path);
        return false;
    }
    const Host_Answer<Host_ScsiAddress> address = (*device)->scsiAddress();
    if (!address) {
        DEBUG_LOG("System_SANDeviceMapLinux::deviceFileToSCSIID() ioctl on device %s failed\n", path);
        return false;
    }
    std::snprintf(id, scsiIDSize, "c%ut%ud%u", address->channel & 255U, address->id & 255U,
                  address->lun & 255U);
    return true;
}
