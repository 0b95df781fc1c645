#include "storage/Storage_PlexLinux.h"

#include "log/Debug_Printf.h"

bool Storage_PlexLinux::audit() {
    return false;
}

bool Storage_PlexesLinux::audit() {
    DEBUG_LOG("Storage_PlexesLinux::audit: not supported by this version\n");
    return false;
}
