// The agent's entry, and the map of this folder:
//
//   main.cpp                   command line, working directory, editor or agent, exit status
//   Agent_CommandLine          the flags, help and version texts
//   Agent_EditConfig           the dialog that makes agent.conf
//   Agent_CheckConfig          whether agent.conf can be used
//   Agent_Run                  all stages of start and stop, in their order
//   Agent_Signals              the thread that turns stop signals into a request to shut down
//   Agent_ServiceManager       what the service manager is told: ready, stopping, in words
//   Agent_Watchdog             the thread that gives it signs of life while the port answers
//   AgentHTTP_RequestHandler   what GET and POST mean on the agent's port

#include "agent/Agent_CheckConfig.h"
#include "agent/Agent_CommandLine.h"
#include "agent/Agent_EditConfig.h"
#include "agent/Agent_Run.h"
#include "base/Agent_Version.h"
#include "base/File_Operations.h"
#include "base/String_Functions.h"
#include "config/AgentConfig_Configuration.h"
#include "config/AgentConfig_Globals.h"
#include "config/AgentConfig_Guid.h"
#include "config/Config_File.h"
#include "log/Debug_Printf.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <grp.h>
#include <malloc.h>
#include <memory>
#include <new>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace {

/// A socket that landed on a standard descriptor that the parent had closed would get the log's text.
void occupyStandardDescriptors() {
    int descriptor = -1;
    do
        descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor > STDERR_FILENO)
        close(descriptor);
}

/// No child process is to inherit root's groups. Without the right to do it there is nothing to drop.
void dropSupplementaryGroups() {
    if (setgroups(0, nullptr) != 0)
        DEBUG_LOG("Agent: keeping supplementary groups: %s\n", nxGetLastErrorMessage().c_str());
}

/// A connection takes a descriptor, and the usual soft limit is soon reached.
void raiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0)
        DEBUG_LOG("Agent: keeping the limit of open files: %s\n", nxGetLastErrorMessage().c_str());
}

/// Large requests take memory of their own, which goes back to the system when they end; what every request
/// takes stays at hand. Of the arenas that each thread would have of its own, all keep what they once held:
/// with two of them a day of requests ends with little more than its first hours.
void setMemoryLimits() {
    mallopt(M_ARENA_MAX, 2);
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
    mallopt(M_TRIM_THRESHOLD, 1024 * 1024);
}

std::string directoryOf(const std::string& executable) {
    const std::string directory = executable.substr(0, executable.find_last_of('/'));
    return directory.empty() ? "." : directory;
}

/// The exit status of what may throw when memory is short.
template <typename Work>
int guarded(Work work) {
    try {
        return work();
    } catch (...) {
        DEBUG_LOG("Agent: Unexpected exception, exiting\n");
        return EXIT_FAILURE;
    }
}

} // namespace

int main(int argc, char* argv[]) {
    occupyStandardDescriptors();
    // A limit for files is to fail a write like a full disk, and not to end the agent.
    std::signal(SIGXFSZ, SIG_IGN);
    gAgentConfig.reset(new (std::nothrow) Config_File<AgentConfig_Configuration>);
    gGuidConfig.reset(new (std::nothrow) Config_File<AgentConfig_Guid>);
    if (!gAgentConfig || !gGuidConfig) {
        DEBUG_LOG("Failed to initialize configuration file handlers\n");
        return EXIT_FAILURE;
    }
    gPathToExec = argc > 0 ? argv[0] : "";
    Agent_ParseCommandLine(argc, argv);
    if (gDisplayHelp) {
        Agent_DisplayHelp(gDisplayHelpUnrecognized);
        return EXIT_SUCCESS;
    }
    DEBUG_LOG("Agent: Build Number: %s\n", Agent_BuildNumber);
    gPathToExec = directoryOf(gPathToExec);
    if (File_Chdir(gPathToExec.c_str()) != 0) {
        DEBUG_LOG("Agent could not chdir to bin directory %s.", gPathToExec.c_str());
        return EXIT_FAILURE;
    }
    if (gEditConfig)
        return guarded([] { return Agent_EditConfig() ? EXIT_SUCCESS : EXIT_FAILURE; });
    if (gVersion) {
        Agent_DisplayVersion();
        return EXIT_SUCCESS;
    }
    if (gCheckConfig)
        return guarded(Agent_CheckConfig);
    dropSupplementaryGroups();
    raiseDescriptorLimit();
    setMemoryLimits();
    return guarded(Agent_Run);
}
