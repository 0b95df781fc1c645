#pragma once

#include "model/Auditable_Auditable.h"
#include "storage/System_HBALibrary.h"
#include "threads/Thread_Mutex.h"

#include <map>
#include <memory>
#include <string>

/// Guards all calls into the HBA library. Taken inside the object locks.
extern Thread_Mutex gHBAAPIMutex;

/// Which logical units the Fibre Channel adapters of this machine map, and to what: from "c0t1d5", the SCSI
/// address (with "p0" before it where the adapter's port is known), and from the name of the device node, if
/// the library knows one, to "50:06:01:60:90:20:1E:7A_5", the port and the unit in the storage network.
///
/// Whoever audits it or reads the map holds the object lock. No question to the library blocks for good.
class System_FCPTargetMap : public Auditable_Auditable {
public:
    using Map = std::map<std::string, std::string, std::less<>>;

    /// Loads the library.
    System_FCPTargetMap();
    ~System_FCPTargetMap() override;

    /// Asks each adapter anew. False if one of them did not answer as it should; what the others said is in
    /// the map then.
    bool audit() override;

    virtual const Map& getMapReference() const { return map_; }
    /// For a person who looks for a fault: one line for each key.
    virtual void dumpToSTDOUT() const;

    bool acquireObjectLock() { return Thread_LockMutex(mutex_.get()); }
    bool releaseObjectLock() { return Thread_UnLockMutex(mutex_.get()); }

    /// Whether the library was there and knew adapters when it was loaded.
    bool hasFoundAdapters() const { return hasFoundAdapters_; }
    /// False, with a line on standard error, if there is no usable library or no adapter.
    bool loadHBALibrary();
    void unloadHBALibrary();

    static constexpr int noPort = 9999;
    /// noPort unless the port's device has a name that tells it.
    static int extractHostPortFromPortAttributes(const HBA_PortAttributes& attributes);
    static bool ValidLibraryVersion(std::uint32_t version) { return version == 1 || version == 2; }

    /// "c0t1d5", or "p2c0t1d5" with a port.
    static void buildScsiIDKey(const std::string& port, std::uint32_t bus, std::uint32_t target,
                               std::uint32_t lun, std::string& key);
    static std::string FcpIdToPortLunStr(const HBA_FcpId& id);
    static std::string WWNToStr(const HBA_WWN& wwn);
    /// The unit's number is the second of the eight bytes.
    static int Lun64ToInt(std::uint64_t lun);
    static std::uint64_t IntToLun64(int lun);

private:
    struct Targets {
        bool isComplete = true;
        Map map;

        void addAdapter(const System_HBALibrary& library, std::uint32_t index, HBA_FcpTargetMapping& mapping);
        bool addMapping(const System_HBALibrary& library, HBA_Handle adapter, HBA_FcpTargetMapping& mapping);
        void addTargetMappingEntry(int port, const HBA_FcpScsiEntry& entry);
    };

    int LoadAndCheckLibraryAndAdapters();

    /// Shared with questions that have not come back.
    std::shared_ptr<const System_HBALibrary> library_;
    bool hasFoundAdapters_ = false;
    Map map_;
    Thread_Mutex mutex_;
};
