#pragma once

#include <string>

namespace CLI {
class App;
}

/// Which agent a command speaks to, as whom, and how the answer is shown: the options that all commands to an
/// agent share.
struct Ctl_AgentOptions {
    std::string agent = "127.0.0.1:8372"; ///< as it was given
    bool tls = false;
    std::string uuid;
    std::string hostTarget;
    unsigned timeout = 200; ///< seconds for the answer
    std::string user;
    int passwordDescriptor = -1; ///< -1: the password is asked for
    bool json = false;
    bool raw = false;
    bool viewAlone = false; ///< no headline before what a command makes of the results
};

/// Adds the options to a command. `options` must outlive the parsing.
void Ctl_AddAgentOptions(CLI::App& command, Ctl_AgentOptions& options);

/// Adds the ports that the agent calls its server on, for a command that stands in for it. The numbers hold
/// the defaults and must outlive the parsing.
void Ctl_AddServerPorts(CLI::App& command, unsigned short& plain, unsigned short& tls);

struct Ctl_Address {
    std::string host;
    unsigned short port = 0;
};

/// "HOST" or "HOST:PORT", the port being 8372 if it is left out. Throws Ctl_Failure.
Ctl_Address Ctl_ParseAddress(const std::string& text);
