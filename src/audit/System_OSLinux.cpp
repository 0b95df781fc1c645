#include "audit/System_OSLinux.h"

#include "audit/System_HostText.h"
#include "exec/ShellCommand_Quote.h"
#include "host/System_Command.h"
#include "log/Debug_Printf.h"
#include "model/System_Allocate.h"

#include <optional>
#include <string>

namespace {

/// The contents of the first release file; nothing if there is none or it cannot be read.
std::optional<std::string> readReleaseFile() {
    const std::optional<std::string> listing = System_RunCommand("ls /etc/*-release");
    const std::string file = System_FirstFile(listing.value_or(""));
    if (file.empty())
        return std::nullopt;
    return System_RunCommand("cat " + ShellCommand_Quote(file));
}

} // namespace

bool System_OSLinux::audit() {
    const std::optional<std::string> releaseFile = readReleaseFile();
    const std::optional<std::string> kernelRelease = System_RunCommand("uname -r");
    if (kernelRelease && !kernelRelease->empty())
        setName(System_ComposeOSName(releaseFile, *kernelRelease).c_str());
    else
        DEBUG_LOG("System_StorageSystemLinux::audit uname -r, skipping\n");
    setAuditResult(true);
    return true;
}

std::unique_ptr<System_OS> System_FactoryAllocateOS() {
    return System_Allocate<System_OS, System_OSLinux>();
}
