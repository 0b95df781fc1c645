#pragma once

#include "storage/Storage_ExtentPool.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class Storage_HostReport;

/// A software RAID.
class Storage_ExtentPoolLinux : public Storage_ExtentPool {
public:
    using Storage_ExtentPool::operator=;
    bool audit() override;

private:
    /// False if the host could not be asked.
    bool auditRaid(Storage_HostReport& report);
    void show(const std::optional<std::string>& level, const std::vector<std::string>& members,
              bool isLaterKernel);
};

/// The software RAIDs that the kernel runs. What cannot be found out leaves the collection with what it has;
/// its audit succeeds.
class Storage_ExtentPoolsLinux : public Storage_ExtentPools {
public:
    bool audit() override;
    bool auditExtentPools();

private:
    bool addPlaceholder(const System_Object& object);
    bool addArrays();
    bool addArray(const std::string& path, std::uint64_t totalBytes);
};
