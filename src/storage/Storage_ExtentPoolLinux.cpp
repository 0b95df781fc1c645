#include "storage/Storage_ExtentPoolLinux.h"

#include "log/Debug_Printf.h"

bool Storage_ExtentPoolLinux::audit() {
    return false;
}

bool Storage_ExtentPoolsLinux::audit() {
    DEBUG_LOG("Storage_ExtentPoolsLinux::audit: not supported by this version\n");
    return false;
}
