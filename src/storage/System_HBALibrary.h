#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

/// The part of the Common HBA API, version 2, that the agent uses: its structures, and the library that
/// answers for all Fibre Channel adapters of this machine. Names, sizes and order are the interface's.

using HBA_Status = std::uint32_t;
using HBA_Handle = std::uint32_t;

inline constexpr HBA_Status HBA_StatusOk = 0;
inline constexpr HBA_Status HBA_StatusError = 1;
inline constexpr std::size_t HBA_NameSize = 256;

/// Not terminated by a zero byte when it is full.
using HBA_Text = std::array<char, HBA_NameSize>;
using HBA_WWN = std::array<std::uint8_t, 8>;

struct HBA_PortAttributes {
    HBA_WWN nodeWWN;
    HBA_WWN portWWN;
    std::uint32_t portFcId;
    std::uint32_t portType;
    std::uint32_t portState;
    std::uint32_t supportedClassesOfService;
    std::array<std::uint8_t, 32> supportedFc4Types;
    std::array<std::uint8_t, 32> activeFc4Types;
    HBA_Text symbolicName;
    HBA_Text osDeviceName;
    std::uint32_t supportedSpeed;
    std::uint32_t speed;
    std::uint32_t maxFrameSize;
    HBA_WWN fabricName;
    std::uint32_t discoveredPorts;
};
static_assert(sizeof(HBA_PortAttributes) == 632);

/// Where this machine sees a logical unit.
struct HBA_ScsiId {
    HBA_Text osDeviceName;
    std::uint32_t bus;
    std::uint32_t target;
    std::uint32_t lun;
};

/// Where the storage network has it.
struct HBA_FcpId {
    std::uint32_t fcId;
    HBA_WWN nodeWWN;
    HBA_WWN portWWN;
    std::uint64_t lun; ///< eight bytes in the order of the network
};

struct HBA_FcpScsiEntry {
    HBA_ScsiId scsiId;
    HBA_FcpId fcpId;
};

struct HBA_FcpTargetMapping {
    static constexpr std::uint32_t mostEntries = 1024;

    /// How many there is room for; afterwards how many there are, which may be more.
    std::uint32_t numberOfEntries;
    std::array<HBA_FcpScsiEntry, mostEntries> entries;
};
// 303108 where 64-bit numbers are aligned as 32-bit ones are, 311304 elsewhere.
static_assert(sizeof(HBA_FcpTargetMapping) == offsetof(HBA_FcpTargetMapping, entries) +
                                                  std::size_t{1024} * (alignof(HBA_FcpId) == 8 ? 304 : 296));

/// The entry points of the library. It is found at run time, since few machines have it. Calls into it are
/// for one thread at a time; see gHBAAPIMutex.
struct System_HBALibrary {
    /// Null if the library is not on this machine or lacks an entry point. Once found it stays in memory:
    /// makers' parts of it may have threads of their own.
    static std::unique_ptr<const System_HBALibrary> find();

    HBA_Status (*loadLibrary)();
    HBA_Status (*freeLibrary)();
    std::uint32_t (*getVersion)();
    std::uint32_t (*getNumberOfAdapters)();
    HBA_Status (*getAdapterName)(std::uint32_t index, char* name);
    HBA_Handle (*openAdapter)(char* name);
    void (*closeAdapter)(HBA_Handle handle);
    void (*refreshInformation)(HBA_Handle handle);
    HBA_Status (*getAdapterPortAttributes)(HBA_Handle handle, std::uint32_t port,
                                           HBA_PortAttributes* attributes);
    HBA_Status (*getFcpTargetMapping)(HBA_Handle handle, HBA_FcpTargetMapping* mapping);
};
