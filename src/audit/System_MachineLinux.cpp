#include "audit/System_MachineLinux.h"

#include "audit/System_HostText.h"
#include "host/Host_Host.h"
#include "log/Debug_Printf.h"
#include "model/System_Allocate.h"

#include <optional>
#include <string>

namespace {

constexpr const char* unknown = "unknown";

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
    const Host_Answer<std::string> name = getHost().domainName();
    if (!name)
        DEBUG_LOG("System_MachineLinux::audit getdomainname, failed\n");
    std::optional<std::string> domain = System_DomainOfKernel(name.valueOr(""));
    if (!domain)
        domain = System_DomainOfResolver(getHost().run("cat /etc/resolv.conf | grep domain").valueOr(""));
    if (domain)
        setDomain(domain->c_str());
}

void System_MachineLinux::auditHostName() {
    const Host_Answer<std::string> name = getHost().hostName();
    if (!name)
        DEBUG_LOG("System_MachineLinux::audit gethostname, failed\n");
    setName(name.valueOr(unknown).c_str());
}

void System_MachineLinux::auditModel() {
    const Host_Answer<std::string> model = getHost().run("uname -m");
    if (!model) {
        DEBUG_LOG("System_MachineLinux::audit::audit uname -m model copy, skipping\n");
        return;
    }
    setManufacturer("PC compatible");
    setModel(System_FirstLine(*model).c_str());
}

bool System_MachineLinux::auditClock() {
    const Host_Answer<int> offset = getHost().gmtOffset();
    if (!offset) {
        DEBUG_LOG("System_MachineLinux::audit::audit: failed to get/set GMT offset\n");
        return false;
    }
    setGMTOffset(*offset);

    const Host_Answer<bool> saving = getHost().daylightSaving();
    if (!saving) {
        DEBUG_LOG("System_MachineLinux::audit::audit: failed localtime\n");
        return false;
    }
    setDaylight(*saving);
    return true;
}

std::unique_ptr<System_Machine> System_FactoryAllocateMachine() {
    return System_Allocate<System_Machine, System_MachineLinux>();
}
