#pragma once

#include "audit/Storage_HostSystem.h"

/// Audits the operating system and the machine. Neither one's failure fails the host, which is then written
/// with what there is.
class Storage_HostSystemLinux : public Storage_HostSystem {
public:
    using Storage_HostSystem::operator=;
    bool audit() override;
};
