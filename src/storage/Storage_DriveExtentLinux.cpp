#include "storage/Storage_DriveExtentLinux.h"

#include "log/Debug_Printf.h"

bool Storage_DriveExtentLinux::audit() {
    return false;
}

bool Storage_DriveExtentsLinux::audit() {
    DEBUG_LOG("Storage_DriveExtentsLinux::audit: not supported by this version\n");
    return false;
}
