#include "storage/Storage_StorageAssociationsLinux.h"

#include "log/Debug_Printf.h"

bool Storage_StorageAssociationsLinux::audit() {
    DEBUG_LOG("Storage_StorageAssociationsLinux::audit: not supported by this version\n");
    return false;
}
