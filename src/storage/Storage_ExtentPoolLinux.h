#pragma once

#include "storage/Storage_ExtentPool.h"

/// A software RAID.
class Storage_ExtentPoolLinux : public Storage_ExtentPool {
public:
    using Storage_ExtentPool::operator=;
    bool audit() override;
};

/// The software RAIDs that the kernel runs.
class Storage_ExtentPoolsLinux : public Storage_ExtentPools {
public:
    bool audit() override;
};
