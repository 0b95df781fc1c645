#include "agent/Agent_CheckConfig.h"

#include "base/Layer_Guard.h"
#include "config/AgentConfig_Configuration.h"
#include "config/AgentConfig_Globals.h"
#include "config/Config_File.h"
#include "xml/Xerces_Layer.h"

#include <cstdio>
#include <cstdlib>
#include <sysexits.h>

int Agent_CheckConfig() {
    Layer_Guard xmlLayer;
    if (!xmlLayer.bringUp(Xerces_LayerInit, Xerces_LayerCleanup))
        return EXIT_FAILURE;
    gAgentConfig->setFilename("agent.conf");
    gAgentConfig->setPathname(gPathToExec + "/../conf");
    if (gAgentConfig->findFile() && gAgentConfig->readFile())
        return EXIT_SUCCESS;
    std::fprintf(stderr, "QDVAgent: %s\n", gAgentConfig->lastError().c_str());
    return EX_CONFIG;
}
