#pragma once

#include "storage/Storage_DriveExtent.h"

#include <string>
#include <vector>

class Storage_HostReport;
class Storage_PhysicalDriveLinux;
struct Storage_FdiskPartition;

/// A partition.
class Storage_DriveExtentLinux : public Storage_DriveExtent {
public:
    using Storage_DriveExtent::operator=;
    bool audit() override;

    /// Whether the extent is a member of an array.
    bool getIsPartOfMetaDevice() const { return isPartOfMetaDevice_; }
    void setIsPartOfMetaDevice(bool isPart) { isPartOfMetaDevice_ = isPart; }

private:
    /// The state of a member, and its level where that is told by the member itself. False if it cannot be
    /// asked for.
    bool auditRaid(Storage_HostReport& report, std::vector<std::string>& levels);

    bool isPartOfMetaDevice_ = false;
};

/// The partitions that the partition tables hold. What cannot be found out leaves the collection with what it
/// has; its audit succeeds.
class Storage_DriveExtentsLinux : public Storage_DriveExtents {
public:
    bool audit() override;
    bool auditDriveExtents();

private:
    class UsedDevices;

    void addPlaceholder(const Storage_PhysicalDriveLinux& drive, const UsedDevices& used);
    void addPartition(const Storage_FdiskPartition& partition, const UsedDevices& used);
};
