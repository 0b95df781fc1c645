#include "config/AgentConfig_Globals.h"

#include "config/AgentConfig_Configuration.h"
#include "config/AgentConfig_Guid.h"
#include "config/Config_File.h"

std::string gPathToExec;

std::unique_ptr<Config_File<AgentConfig_Configuration>> gAgentConfig;
std::unique_ptr<Config_File<AgentConfig_Guid>> gGuidConfig;

pthread_mutex_t gMutexAgentConfig = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t gMutexGuidConfig = PTHREAD_MUTEX_INITIALIZER;
