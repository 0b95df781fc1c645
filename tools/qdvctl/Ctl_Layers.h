#pragma once

#include "base/Layer_Guard.h"

/// The layers of the agent's libraries that a command works on, up for as long as the object lives. Made
/// once, by the command, before any thread runs. Throws Ctl_Failure if a layer cannot come up.
class Ctl_Layers {
public:
    enum Extent { XmlOnly, Network, NetworkWithTLS };

    explicit Ctl_Layers(Extent extent);

private:
    Layer_Guard xml_;
    Layer_Guard tls_;
    Layer_Guard http_;
};
