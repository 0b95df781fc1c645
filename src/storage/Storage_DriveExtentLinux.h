#pragma once

#include "storage/Storage_DriveExtent.h"

/// A partition.
class Storage_DriveExtentLinux : public Storage_DriveExtent {
public:
    using Storage_DriveExtent::operator=;
    bool audit() override;

    /// Whether the extent is a member of an array.
    bool getIsPartOfMetaDevice() const { return isPartOfMetaDevice_; }
    void setIsPartOfMetaDevice(bool isPart) { isPartOfMetaDevice_ = isPart; }

private:
    bool isPartOfMetaDevice_ = false;
};

/// The partitions that the partition tables hold.
class Storage_DriveExtentsLinux : public Storage_DriveExtents {
public:
    bool audit() override;
};
