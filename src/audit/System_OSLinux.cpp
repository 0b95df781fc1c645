#include "audit/System_OSLinux.h"

#include "audit/System_HostText.h"
#include "exec/ShellCommand_Quote.h"
#include "host/Host_Host.h"
#include "log/Debug_Printf.h"
#include "model/System_Allocate.h"

#include <string>

namespace {

/// The contents of the first release file; empty if there is none or it cannot be read.
std::string readReleaseFile(Host_Host& host) {
    const std::string file = System_FirstFile(host.run("ls /etc/*-release").valueOr(""));
    return file.empty() ? "" : host.run("cat " + ShellCommand_Quote(file)).valueOr("");
}

} // namespace

bool System_OSLinux::audit() {
    const std::string releaseFile = readReleaseFile(getHost());
    const std::string kernelRelease = getHost().run("uname -r").valueOr("");
    if (!kernelRelease.empty())
        setName(System_ComposeOSName(releaseFile, kernelRelease).c_str());
    else
        DEBUG_LOG("System_StorageSystemLinux::audit uname -r, skipping\n");
    setAuditResult(true);
    return true;
}

std::unique_ptr<System_OS> System_FactoryAllocateOS() {
    return System_Allocate<System_OS, System_OSLinux>();
}
