#pragma once

#include <memory>
#include <pthread.h>
#include <string>

class AgentConfig_Configuration;
class AgentConfig_Guid;
template <class T>
class Config_File;

/// The directory of the executable, as the first argument of the process named it. Set before any thread
/// runs.
extern std::string gPathToExec;

/// agent.conf and uuid.conf. Allocated by main before and freed after everything that uses them.
extern std::unique_ptr<Config_File<AgentConfig_Configuration>> gAgentConfig;
extern std::unique_ptr<Config_File<AgentConfig_Guid>> gGuidConfig;

/// Each guards the configuration of the same name, briefly: no other lock is taken and nothing is sent while
/// one is held.
extern pthread_mutex_t gMutexAgentConfig;
extern pthread_mutex_t gMutexGuidConfig;
