#pragma once

#include "model/Auditable_Auditable.h"
#include "storage/System_FCPTargetMap.h"
#include "threads/Thread_Mutex.h"

#include <string>

/// Tells a disk in a storage area network from a local one: from a device, or its SCSI address, to its
/// address in the network, as the Fibre Channel adapters map them.
///
/// Whoever uses it holds the object lock from before prepareForAudit until after cleanupAfterAudit, the
/// lookups in between. Locks are taken in this order: the map's, the target map's, gHBAAPIMutex.
class System_SANDeviceMap : public Auditable_Auditable {
public:
    /// Empty for a device that is not in the network.
    virtual std::string getSANAddress(const char* device) const = 0;
    /// For a person who looks for a fault: one line for each key.
    virtual void dumpToSTDOUT() const;
    /// What the map calls the unit that an adapter gives this key. False if it has no name for it.
    virtual bool scsiIDToDeviceFile(const std::string& id, std::string& file) const = 0;

    bool isSANDrive(const char* device) const { return !getSANAddress(device).empty(); }

    bool acquireObjectLock() { return Thread_LockMutex(mutex_.get()); }
    bool releaseObjectLock() { return Thread_UnLockMutex(mutex_.get()); }

protected:
    /// True at once on a machine without adapters.
    bool auditFCPTargetMap();
    void buildSANMapFromTargetMap();

    System_FCPTargetMap::Map map_;

private:
    Thread_Mutex mutex_;
    System_FCPTargetMap targetMap_;
};

/// The one map of this process. Null, with a line in the log, if it cannot be made.
System_SANDeviceMap* System_FactoryAccessSANDeviceMap();
