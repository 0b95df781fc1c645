#include "agent/Agent_EditConfig.h"

#include "base/Layer_Guard.h"
#include "config/AgentConfig_Configuration.h"
#include "config/AgentConfig_Globals.h"
#include "config/Config_File.h"
#include "log/Debug_Printf.h"
#include "xml/Xerces_Layer.h"

#include <cstdio>

namespace {

constexpr const char* cannotFind = "Agent: Fatal error trying to find the agent configuration file\n";
constexpr const char* cannotRead = "Agent: Fatal error trying to parse the agent configuration file\n";
constexpr const char* cannotWrite = "Agent: Fatal error writting agent configuration file\n";

/// False if the operation threw, which is logged.
template <typename Operation>
bool completes(Operation operation, const char* onException) {
    try {
        operation();
        return true;
    } catch (...) {
        DEBUG_LOG("%s", onException);
        return false;
    }
}

bool save(Config_File<AgentConfig_Configuration>& file) {
    bool written = false;
    if (!completes([&] { written = file.writeFile(); }, cannotWrite)) {
        std::fprintf(stderr, "QDVAgent: the changes are not saved\n");
        return false;
    }
    if (!written) {
        DEBUG_LOG("%s", cannotWrite);
        std::fprintf(stderr, "QDVAgent: the changes are not saved: %s\n", file.lastError().c_str());
    }
    return written;
}

bool editFile(Config_File<AgentConfig_Configuration>& file) {
    bool exists = false;
    if (!completes([&] { exists = file.findFile(); }, cannotFind))
        return false;
    // A missing or broken file leaves the defaults and what stood before the fault, which is where editing
    // begins.
    if (!completes([&] { file.readFile(); }, cannotRead))
        return false;
    bool changed = false;
    if (!file.getConfig()->editFromStdin(exists, changed))
        return false;
    if (changed && !save(file))
        return false;
    return exists || changed;
}

} // namespace

bool Agent_EditConfig() {
    Layer_Guard layer;
    if (!layer.bringUp(Xerces_LayerInit, Xerces_LayerCleanup)) {
        DEBUG_LOG("Agent: XML layer initialization failed\n");
        return false;
    }
    gAgentConfig->setFilename("agent.conf");
    gAgentConfig->setPathname(gPathToExec + "/../conf");
    return editFile(*gAgentConfig);
}
