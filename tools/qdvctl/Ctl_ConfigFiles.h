#pragma once

#include "qdvctl/Ctl_Node.h"

#include <string>
#include <vector>

class AgentConfig_Configuration;

/// The configuration files of an agent, as the agent itself would read them. The XML layer must be up.

/// What was found out about one file.
struct Ctl_ConfigFile {
    enum State { Good, Absent, Faulty };

    bool isUsable() const { return state == Good || (state == Absent && !required); }

    std::string path;
    bool required = false; ///< the agent does not start without it
    State state = Good;
    std::string reason;                ///< why it is faulty: where, what, and what was expected
    std::vector<std::string> warnings; ///< what the agent takes, but hardly anybody means
    Ctl_Node content; ///< the values that the agent uses, in the form of the file; no password
};

/// agent.conf, which must exist, and uuid.conf, which need not.
std::vector<Ctl_ConfigFile> Ctl_ReadConfigFiles(const std::string& directory);
/// One file of any name: identities if the name begins with "uuid", the agent's configuration otherwise.
Ctl_ConfigFile Ctl_ReadConfigFile(const std::string& file);

/// What in a configuration that the agent takes hardly anybody means.
std::vector<std::string> Ctl_ConfigWarnings(const AgentConfig_Configuration& configuration);
