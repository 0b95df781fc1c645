#include "audit/Storage_HostSystemLinux.h"

#include "log/Debug_Printf.h"
#include "model/Auditable_TryAudit.h"
#include "model/System_Allocate.h"

namespace {

bool auditPart(Auditable_Auditable& part, Host_Host& host) {
    part.setHost(host);
    if (Auditable_TryAudit(part))
        return true;
    part.cleanupAfterAudit();
    return false;
}

} // namespace

bool Storage_HostSystemLinux::audit() {
    if (getOS() == nullptr || getMachine() == nullptr)
        return false;
    setType("Linux");
    if (!auditPart(*getOS(), getHost()))
        DEBUG_LOG("Storage_HostSystemLinux::os audit failed\n");
    if (!auditPart(*getMachine(), getHost()))
        DEBUG_LOG("Storage_HostSystemLinux::machine audit failed\n");
    setAuditResult(true);
    return true;
}

std::unique_ptr<Storage_HostSystem> Storage_FactoryAllocateHostSystem() {
    return System_Allocate<Storage_HostSystem, Storage_HostSystemLinux>();
}
