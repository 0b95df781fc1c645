#pragma once

#include "storage/Storage_StorageVolume.h"

/// A mount.
class Storage_StorageVolumeLinux : public Storage_StorageVolume {
public:
    using Storage_StorageVolume::operator=;
    bool audit() override;
};

/// The mounts that are no pseudo file systems.
class Storage_StorageVolumesLinux : public Storage_StorageVolumes {
public:
    bool audit() override;
};
