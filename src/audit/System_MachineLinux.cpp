#include "audit/System_MachineLinux.h"

#include "audit/System_HostText.h"
#include "date/System_Date.h"
#include "host/System_Command.h"
#include "log/Debug_Printf.h"
#include "model/System_Allocate.h"

#include <ctime>
#include <optional>
#include <string>
#include <unistd.h>

namespace {

constexpr const char* unknown = "unknown";
/// Longer than any name that the kernel keeps; the last byte stays zero.
constexpr std::size_t nameBufferSize = 256;

std::optional<int> gmtOffsetMinutes() {
    int minutes = 0;
    try {
        if (System_FactoryAllocateDate()->gmtOffset(minutes))
            return minutes;
    } catch (...) {
    }
    return std::nullopt;
}

} // namespace

bool System_MachineLinux::audit() {
    setType("Linux");
    auditDomain();
    auditHostName();
    auditModel();
    if (!auditClock()) {
        DEBUG_LOG("System_MachineLinux::audit - failed\n");
        return false;
    }
    setAuditResult(true);
    return true;
}

void System_MachineLinux::auditDomain() {
    setDomain(unknown);
    char name[nameBufferSize] = {};
    if (getdomainname(name, sizeof name - 1) != 0) {
        DEBUG_LOG("System_MachineLinux::audit getdomainname, failed\n");
    } else if (const std::optional<std::string> domain = System_DomainOfKernel(name)) {
        setDomain(domain->c_str());
        return;
    }
    const std::optional<std::string> lines = System_RunCommand("cat /etc/resolv.conf | grep domain");
    if (const std::optional<std::string> domain = System_DomainOfResolver(lines.value_or("")))
        setDomain(domain->c_str());
}

void System_MachineLinux::auditHostName() {
    char name[nameBufferSize] = {};
    if (gethostname(name, sizeof name - 1) != 0) {
        DEBUG_LOG("System_MachineLinux::audit gethostname, failed\n");
        setName(unknown);
        return;
    }
    setName(name);
}

void System_MachineLinux::auditModel() {
    const std::optional<std::string> model = System_RunCommand("uname -m");
    if (!model) {
        DEBUG_LOG("System_MachineLinux::audit::audit uname -m model copy, skipping\n");
        return;
    }
    setManufacturer("PC compatible");
    setModel(System_FirstLine(*model).c_str());
}

bool System_MachineLinux::auditClock() {
    const std::optional<int> offset = gmtOffsetMinutes();
    if (!offset) {
        DEBUG_LOG("System_MachineLinux::audit::audit: failed to get/set GMT offset\n");
        return false;
    }
    setGMTOffset(*offset);

    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (localtime_r(&now, &local) == nullptr) {
        DEBUG_LOG("System_MachineLinux::audit::audit: failed localtime\n");
        return false;
    }
    setDaylight(local.tm_isdst >= 1);
    return true;
}

std::unique_ptr<System_Machine> System_FactoryAllocateMachine() {
    return System_Allocate<System_Machine, System_MachineLinux>();
}
