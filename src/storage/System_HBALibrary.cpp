#include "storage/System_HBALibrary.h"

#include <dlfcn.h>

namespace {

constexpr const char* libraryName = "libHBAAPI.so.2";

template <typename Function>
bool findEntry(void* library, const char* name, Function& entry) {
    entry = reinterpret_cast<Function>(dlsym(library, name));
    return entry != nullptr;
}

} // namespace

std::unique_ptr<const System_HBALibrary> System_HBALibrary::find() {
    void* const handle = dlopen(libraryName, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (handle == nullptr)
        return nullptr;
    auto library = std::make_unique<System_HBALibrary>();
    const bool isWhole =
        findEntry(handle, "HBA_LoadLibrary", library->loadLibrary) &&
        findEntry(handle, "HBA_FreeLibrary", library->freeLibrary) &&
        findEntry(handle, "HBA_GetVersion", library->getVersion) &&
        findEntry(handle, "HBA_GetNumberOfAdapters", library->getNumberOfAdapters) &&
        findEntry(handle, "HBA_GetAdapterName", library->getAdapterName) &&
        findEntry(handle, "HBA_OpenAdapter", library->openAdapter) &&
        findEntry(handle, "HBA_CloseAdapter", library->closeAdapter) &&
        findEntry(handle, "HBA_RefreshInformation", library->refreshInformation) &&
        findEntry(handle, "HBA_GetAdapterPortAttributes", library->getAdapterPortAttributes) &&
        findEntry(handle, "HBA_GetFcpTargetMapping", library->getFcpTargetMapping);
    dlclose(handle); // only the count of users goes down
    return isWhole ? std::move(library) : nullptr;
}
