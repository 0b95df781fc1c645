#pragma once

#include <functional>
#include <optional>
#include <string>

/// The one door through which audits read the tools of the host. A caller takes the output as it comes:
/// nothing if the command could not be run, an empty text for a tool that is missing or has nothing to say,
/// since the exit status is not looked at.

/// Runs a command line through the shell, as the agent's own user, and waits for it. What goes into the line
/// and is no constant goes through ShellCommand_Quote. Thread-safe.
std::optional<std::string> System_RunCommand(const std::string& command);

/// What stands in for the shell: it gets command lines and gives their output.
using System_CommandRunner = std::function<std::optional<std::string>(const std::string& command)>;

/// Sends the commands of the whole process to `runner` as long as it lives, so that a recorded host can be
/// audited. Not while another thread runs commands.
class System_CommandRunnerScope {
public:
    explicit System_CommandRunnerScope(System_CommandRunner runner);
    System_CommandRunnerScope(const System_CommandRunnerScope&) = delete;
    System_CommandRunnerScope& operator=(const System_CommandRunnerScope&) = delete;
    ~System_CommandRunnerScope();

private:
    System_CommandRunner outer_;
};
