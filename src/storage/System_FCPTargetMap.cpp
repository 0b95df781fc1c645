#include "storage/System_FCPTargetMap.h"

#include "host/Host_Patience.h"
#include "log/Debug_Printf.h"
#include "threads/MutexLock.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <string_view>

Thread_Mutex gHBAAPIMutex;

namespace {

/// For all that is asked of the library at once.
constexpr std::chrono::seconds libraryLimit{60};
constexpr const char* librarySubject = "the HBA library";

constexpr int libraryNotLoaded = -1;
constexpr int libraryOfOtherVersion = -2;
constexpr int noAdapters = -3;

constexpr std::uint32_t noNumber = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t lunByte = 1;
constexpr std::string_view portPrefix = R"(\\.\Scsi)";
constexpr std::string_view devicePrefix = "/dev";

std::string_view textOf(const HBA_Text& text) {
    return {text.data(), strnlen(text.data(), text.size())};
}

/// An adapter that is open as long as this object lives.
class OpenAdapter {
public:
    OpenAdapter(const System_HBALibrary& library, std::uint32_t index) : library_(library) {
        HBA_Text name = {};
        if (library.getAdapterName(index, name.data()) == HBA_StatusOk)
            handle_ = library.openAdapter(name.data());
    }
    OpenAdapter(const OpenAdapter&) = delete;
    OpenAdapter& operator=(const OpenAdapter&) = delete;
    ~OpenAdapter() {
        if (handle_ != 0)
            library_.closeAdapter(handle_);
    }

    /// 0 if it did not open.
    HBA_Handle handle() const { return handle_; }

private:
    const System_HBALibrary& library_;
    HBA_Handle handle_ = 0;
};

int portOf(const System_HBALibrary& library, HBA_Handle adapter) {
    HBA_PortAttributes attributes = {};
    if (library.getAdapterPortAttributes(adapter, 0, &attributes) == HBA_StatusOk)
        return System_FCPTargetMap::extractHostPortFromPortAttributes(attributes);
    DEBUG_LOG("System_FCPTargetMap::audit: Call to GetAdapterPortAttributes Failed\n");
    return System_FCPTargetMap::noPort;
}

} // namespace

System_FCPTargetMap::System_FCPTargetMap() {
    try {
        loadHBALibrary();
    } catch (...) {
        DEBUG_LOG("System_FCPTargetMap::constructor: exception while loading HBA library.\n");
    }
}

System_FCPTargetMap::~System_FCPTargetMap() {
    unloadHBALibrary();
}

int System_FCPTargetMap::LoadAndCheckLibraryAndAdapters() {
    struct Found {
        int status = libraryNotLoaded;
        std::shared_ptr<const System_HBALibrary> library;
    };
    const Host_Answer<Found> found = Host_AskWithin<Found>(libraryLimit, librarySubject, [] {
        const MutexLock lock(gHBAAPIMutex.get());
        std::shared_ptr<const System_HBALibrary> library = System_HBALibrary::find();
        if (!library || library->loadLibrary() == HBA_StatusError)
            return Host_Answer(Found());
        if (!ValidLibraryVersion(library->getVersion()))
            return Host_Answer(Found{libraryOfOtherVersion, library});
        return Host_Answer(Found{library->getNumberOfAdapters() < 1 ? noAdapters : 0, library});
    });
    if (!found)
        return libraryNotLoaded;
    library_ = found->library;
    return found->status;
}

bool System_FCPTargetMap::loadHBALibrary() {
    if (hasFoundAdapters_) {
        DEBUG_LOG("System_FCPTargetMap::loadHBALibrary: HBA Library already loaded.\n");
        return true;
    }
    const int status = LoadAndCheckLibraryAndAdapters();
    hasFoundAdapters_ = status == 0;
    if (hasFoundAdapters_)
        return true;
    std::fprintf(
        stderr, "warning: unable to load the HBAAPI library and/or find Fibre Channel adapters. status: %d\n",
        status);
    DEBUG_LOG("System_FCPTargetMap::loadHBALibrary: Error Loading HBA API Library and/or finding adapters\n");
    return false;
}

void System_FCPTargetMap::unloadHBALibrary() {
    hasFoundAdapters_ = false;
    if (const std::shared_ptr<const System_HBALibrary> library = std::move(library_))
        Host_DoWithin(libraryLimit, librarySubject, [library] {
            const MutexLock lock(gHBAAPIMutex.get());
            library->freeLibrary();
        });
}

bool System_FCPTargetMap::audit() {
    if (!hasFoundAdapters_) {
        DEBUG_LOG("System_FCPTargetMap::audit: audit called when HBA Library failed to load.\n");
        return false;
    }
    map_.clear();
    Host_Answer<Targets> targets =
        Host_AskWithin<Targets>(libraryLimit, librarySubject, [library = library_]() -> Host_Answer<Targets> {
            const std::unique_ptr<HBA_FcpTargetMapping> mapping(new (std::nothrow) HBA_FcpTargetMapping());
            if (!mapping) {
                DEBUG_LOG("System_FCPTargetMap::audit: Unable to allocate memory\n");
                return Host_Answer<Targets>::failure(ENOMEM);
            }
            Targets found;
            const MutexLock lock(gHBAAPIMutex.get());
            for (std::uint32_t index = 0; index < library->getNumberOfAdapters(); ++index)
                found.addAdapter(*library, index, *mapping);
            return found;
        });
    if (!targets)
        return false;
    map_ = std::move(targets->map);
    return targets->isComplete;
}

void System_FCPTargetMap::Targets::addAdapter(const System_HBALibrary& library, std::uint32_t index,
                                              HBA_FcpTargetMapping& mapping) {
    const OpenAdapter adapter(library, index);
    if (adapter.handle() == 0 || !addMapping(library, adapter.handle(), mapping))
        isComplete = false;
}

bool System_FCPTargetMap::Targets::addMapping(const System_HBALibrary& library, HBA_Handle adapter,
                                              HBA_FcpTargetMapping& mapping) {
    library.refreshInformation(adapter);
    const int port = portOf(library, adapter);
    mapping.numberOfEntries = HBA_FcpTargetMapping::mostEntries;
    if (const HBA_Status status = library.getFcpTargetMapping(adapter, &mapping); status != HBA_StatusOk) {
        DEBUG_LOG("System_FCPTargetMap::audit: Call to GetTargetMapping Failed, status = %u\n", status);
        if (mapping.numberOfEntries > HBA_FcpTargetMapping::mostEntries)
            DEBUG_LOG("System_FCPTargetMap::audit: Target mapping entry buffer too small\n");
        return false;
    }
    const std::uint32_t count = std::min(mapping.numberOfEntries, HBA_FcpTargetMapping::mostEntries);
    std::for_each_n(mapping.entries.begin(), count,
                    [&](const HBA_FcpScsiEntry& entry) { addTargetMappingEntry(port, entry); });
    return true;
}

void System_FCPTargetMap::Targets::addTargetMappingEntry(int port, const HBA_FcpScsiEntry& entry) {
    const HBA_ScsiId& id = entry.scsiId;
    if (id.bus == noNumber || id.target == noNumber || id.lun == noNumber)
        return;
    const std::string address = FcpIdToPortLunStr(entry.fcpId);
    std::string key;
    buildScsiIDKey(port == noPort ? std::string() : std::to_string(port), id.bus, id.target, id.lun, key);
    map.emplace(key, address);
    const std::string_view device = textOf(id.osDeviceName);
    if (device.empty())
        return;
    map.emplace(device, address);
    if (!device.starts_with(devicePrefix))
        return;
    if (const std::string_view name = device.substr(device.rfind('/') + 1); !name.empty())
        map.emplace(name, address);
}

int System_FCPTargetMap::extractHostPortFromPortAttributes(const HBA_PortAttributes& attributes) {
    const std::string_view name = textOf(attributes.osDeviceName);
    if (!name.starts_with(portPrefix))
        return noPort;
    int port = noPort;
    std::from_chars(name.data() + portPrefix.size(), name.data() + name.size(), port);
    return port;
}

void System_FCPTargetMap::buildScsiIDKey(const std::string& port, std::uint32_t bus, std::uint32_t target,
                                         std::uint32_t lun, std::string& key) {
    key = port.empty() ? std::string() : 'p' + port;
    key += 'c' + std::to_string(bus) + 't' + std::to_string(target) + 'd' + std::to_string(lun);
}

std::string System_FCPTargetMap::FcpIdToPortLunStr(const HBA_FcpId& id) {
    return WWNToStr(id.portWWN) + '_' + std::to_string(Lun64ToInt(id.lun));
}

std::string System_FCPTargetMap::WWNToStr(const HBA_WWN& wwn) {
    std::array<char, 3 * std::tuple_size_v<HBA_WWN>> text = {};
    std::snprintf(text.data(), text.size(), "%02X:%02X:%02X:%02X:%02X:%02X:%02X:%02X", wwn[0], wwn[1], wwn[2],
                  wwn[3], wwn[4], wwn[5], wwn[6], wwn[7]);
    return text.data();
}

int System_FCPTargetMap::Lun64ToInt(std::uint64_t lun) {
    std::array<std::uint8_t, sizeof lun> bytes = {};
    std::memcpy(bytes.data(), &lun, sizeof lun);
    return bytes[lunByte];
}

std::uint64_t System_FCPTargetMap::IntToLun64(int lun) {
    std::array<std::uint8_t, sizeof(std::uint64_t)> bytes = {};
    bytes[lunByte] = static_cast<std::uint8_t>(lun);
    std::uint64_t result = 0;
    std::memcpy(&result, bytes.data(), sizeof result);
    return result;
}

void System_FCPTargetMap::dumpToSTDOUT() const {
    for (const auto& [key, address] : map_)
        std::printf("%s %s\n", key.c_str(), address.c_str());
}
