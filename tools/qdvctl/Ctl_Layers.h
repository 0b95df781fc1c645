#pragma once

/// The layers of the agent's libraries that a command works on, up for as long as the object lives. Made
/// once, by the command, before any thread runs. Throws Ctl_Failure if a layer cannot come up.
class Ctl_Layers {
public:
    enum Extent { XmlOnly, Network, NetworkWithTLS };

    explicit Ctl_Layers(Extent extent);
    ~Ctl_Layers();
    Ctl_Layers(const Ctl_Layers&) = delete;
    Ctl_Layers& operator=(const Ctl_Layers&) = delete;

private:
    void bringDown();

    bool xml_ = false;
    bool tls_ = false;
    bool http_ = false;
};
