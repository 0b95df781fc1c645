#pragma once

#include "audit/System_Machine.h"

/// Asks the host for the facts. Only the clock can make the audit fail: whatever
/// else is not to be had is left out or "unknown".
class System_MachineLinux : public System_Machine {
public:
    using System_Machine::operator=;
    bool audit() override;

private:
    void auditDomain();
    void auditHostName();
    void auditModel();
    bool auditClock();
};
