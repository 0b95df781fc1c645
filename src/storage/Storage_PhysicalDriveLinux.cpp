#include "storage/Storage_PhysicalDriveLinux.h"

#include "log/Debug_Printf.h"

bool Storage_PhysicalDriveLinux::audit() {
    return false;
}

bool Storage_PhysicalDrivesLinux::audit() {
    DEBUG_LOG("Storage_PhysicalDrivesLinux::audit: not supported by this version\n");
    return false;
}
