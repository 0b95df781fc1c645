#include "storage/Storage_Levels.h"

#include "model/System_Allocate.h"
#include "storage/Storage_DriveExtentLinux.h"
#include "storage/Storage_ExtentPoolLinux.h"
#include "storage/Storage_PhysicalDriveLinux.h"
#include "storage/Storage_PlexLinux.h"
#include "storage/Storage_StorageAssociationsLinux.h"
#include "storage/Storage_StorageVolumeLinux.h"

#include <stdexcept>

namespace {

template <typename Collection, typename Member>
constexpr Storage_Level level(const char* word, const char* method) {
    return {Collection::storageType, word, method, System_Allocate<Storage_Collection, Collection>,
            System_Allocate<System_Object, Member>};
}

} // namespace

constexpr Storage_LevelList Storage_Levels = {
    level<Storage_PhysicalDrivesLinux, Storage_PhysicalDriveLinux>("drives", "GetPhysicalDrives"),
    level<Storage_DriveExtentsLinux, Storage_DriveExtentLinux>("extents", "GetDriveExtents"),
    level<Storage_ExtentPoolsLinux, Storage_ExtentPoolLinux>("pools", "GetExtentPools"),
    level<Storage_PlexesLinux, Storage_PlexLinux>("plexes", "GetPlexes"),
    level<Storage_StorageVolumesLinux, Storage_StorageVolumeLinux>("volumes", "GetStorageVolumes"),
    Storage_Level{Storage_StorageAssociationsLinux::storageType, "associations", "GetStorageAssociations",
                  System_Allocate<Storage_Collection, Storage_StorageAssociationsLinux>, nullptr},
};

std::size_t Storage_LevelIndex(System_Object::StorageType type) {
    for (std::size_t index = 0; index < Storage_Levels.size(); ++index)
        if (Storage_Levels[index].type == type)
            return index;
    throw std::invalid_argument("no level of the storage stack");
}
