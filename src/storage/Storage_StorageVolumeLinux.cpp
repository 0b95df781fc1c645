#include "storage/Storage_StorageVolumeLinux.h"

#include "log/Debug_Printf.h"

bool Storage_StorageVolumeLinux::audit() {
    return false;
}

bool Storage_StorageVolumesLinux::audit() {
    DEBUG_LOG("Storage_StorageVolumesLinux::audit: not supported by this version\n");
    return false;
}
