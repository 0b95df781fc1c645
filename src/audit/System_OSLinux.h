#pragma once

#include "audit/System_OS.h"

/// Names the distribution and the kernel. Its audit always succeeds; without `uname` the name stays empty.
class System_OSLinux : public System_OS {
public:
    using System_OS::operator=;
    bool audit() override;
};
