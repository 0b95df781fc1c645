#include "storage/System_SANDeviceMap.h"

#include "log/Debug_Printf.h"
#include "model/Auditable_TryAudit.h"
#include "storage/System_SANDeviceMapLinux.h"

#include <cstdio>

namespace {

/// The target map's object lock, for a block.
class TargetMapLock {
public:
    explicit TargetMapLock(System_FCPTargetMap& map) : map_(map), isHeld_(map.acquireObjectLock()) {}
    TargetMapLock(const TargetMapLock&) = delete;
    TargetMapLock& operator=(const TargetMapLock&) = delete;
    ~TargetMapLock() {
        if (isHeld_)
            map_.releaseObjectLock();
    }

private:
    System_FCPTargetMap& map_;
    const bool isHeld_;
};

} // namespace

bool System_SANDeviceMap::auditFCPTargetMap() {
    if (!targetMap_.hasFoundAdapters())
        return true;
    const TargetMapLock lock(targetMap_);
    const bool isAudited = Auditable_TryAudit(targetMap_);
    return targetMap_.cleanupAfterAudit() && isAudited;
}

void System_SANDeviceMap::buildSANMapFromTargetMap() {
    const TargetMapLock lock(targetMap_);
    map_.clear();
    for (const auto& [key, address] : targetMap_.getMapReference())
        if (std::string file; scsiIDToDeviceFile(key, file))
            map_.emplace(file, address);
}

void System_SANDeviceMap::dumpToSTDOUT() const {
    for (const auto& [key, address] : map_)
        std::printf("%s %s\n", key.c_str(), address.c_str());
}

System_SANDeviceMap* System_FactoryAccessSANDeviceMap() {
    System_SANDeviceMap* map = nullptr;
    try {
        map = System_SANDeviceMapLinux::getPInstance();
    } catch (...) {
        map = nullptr;
    }
    if (map == nullptr)
        DEBUG_LOG("System_FactoryAccessSANDeviceMap: Failed to create SANDeviceMapLinux\n");
    return map;
}
