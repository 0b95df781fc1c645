// The HBA library of the tests, under the name of the real one.

#include "storage/HBA_Library.h"

#include <algorithm>
#include <cstring>

HBA_Play hbaPlay;

namespace {
HBA_Adapter& adapterOf(HBA_Handle handle) {
    return hbaPlay.adapters.at(handle - 1);
}
} // namespace

extern "C" {

HBA_Status HBA_LoadLibrary() {
    ++hbaPlay.loads;
    return hbaPlay.loadStatus;
}

HBA_Status HBA_FreeLibrary() {
    --hbaPlay.loads;
    return HBA_StatusOk;
}

std::uint32_t HBA_GetVersion() {
    return hbaPlay.version;
}

std::uint32_t HBA_GetNumberOfAdapters() {
    return static_cast<std::uint32_t>(hbaPlay.adapters.size());
}

HBA_Status HBA_GetAdapterName(std::uint32_t index, char* name) {
    std::strcpy(name, std::to_string(index).c_str());
    return HBA_StatusOk;
}

HBA_Handle HBA_OpenAdapter(char* name) {
    const auto handle = static_cast<HBA_Handle>(std::stoul(name) + 1);
    if (!adapterOf(handle).opens)
        return 0;
    ++hbaPlay.openHandles;
    return handle;
}

void HBA_CloseAdapter(HBA_Handle) {
    --hbaPlay.openHandles;
}

void HBA_RefreshInformation(HBA_Handle) {}

HBA_Status HBA_GetAdapterPortAttributes(HBA_Handle handle, std::uint32_t, HBA_PortAttributes* attributes) {
    const std::string& device = adapterOf(handle).portDevice;
    std::copy_n(device.c_str(), device.size(), attributes->osDeviceName.begin());
    return device.empty() ? HBA_StatusError : HBA_StatusOk;
}

HBA_Status HBA_GetFcpTargetMapping(HBA_Handle handle, HBA_FcpTargetMapping* mapping) {
    const HBA_Adapter& adapter = adapterOf(handle);
    const auto room = static_cast<std::size_t>(mapping->numberOfEntries);
    std::copy_n(adapter.entries.begin(), std::min(room, adapter.entries.size()), mapping->entries.begin());
    mapping->numberOfEntries = adapter.claimedEntries != 0
                                   ? adapter.claimedEntries
                                   : static_cast<std::uint32_t>(adapter.entries.size());
    return adapter.mappingStatus;
}

} // extern "C"
