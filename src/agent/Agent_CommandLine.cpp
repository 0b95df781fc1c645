#include "agent/Agent_CommandLine.h"

#include "base/Agent_Version.h"
#include "log/Debug_Printf.h"

#include <cstdio>
#include <cstring>

bool gVersion = false;
bool gEditConfig = false;
bool gCheckConfig = false;
bool gDisplayHelp = false;
bool gDisplayHelpUnrecognized = false;
bool gDeleteConfig = false;

namespace {

struct Flag {
    const char* name;
    const char* help; ///< none for what service units use and no person types
    void (*apply)();
};

/// In the order of the help text.
constexpr Flag flags[] = {
    {"-deleteConfig", "Deletes the GUID and policy configuration files at startup",
     [] { gDeleteConfig = true; }},
    {"-editConfig", "Edit the agent configuration file", [] { gEditConfig = true; }},
    {"-verbose", "Prints debug statments to stdout", [] { gDebugPrintf.setEnabled(true); }},
    {"-version", "Displays the version of the QDVAgent", [] { gVersion = true; }},
    {"-help", "\tDisplays this output", [] { gDisplayHelp = true; }},
    {"--check-config", nullptr, [] { gCheckConfig = true; }},
};

const Flag* findFlag(const char* argument) {
    for (const Flag& flag : flags)
        if (std::strcmp(argument, flag.name) == 0)
            return &flag;
    return nullptr;
}

} // namespace

bool Agent_ParseCommandLine(int argc, char* argv[]) {
    for (int i = 1; i < argc; ++i) {
        if (const Flag* flag = findFlag(argv[i])) {
            flag->apply();
            continue;
        }
        DEBUG_LOG("Agent: unrecognized option %s\n", argv[i]);
        gDisplayHelp = true;
        gDisplayHelpUnrecognized = true;
    }
    return true;
}

void Agent_DisplayHelp(bool unrecognized) {
    std::printf("\nQDV Agent:%s\n", unrecognized ? " unrecognized flag:" : "");
    std::printf("Usage:\n\n");
    for (const Flag& flag : flags)
        if (flag.help != nullptr)
            std::printf("  %s\t%s\n", flag.name, flag.help);
}

void Agent_DisplayVersion() {
    std::printf("\nQDVAgent, version %s build x%s\n", Agent_Version, Agent_BuildNumber);
}
