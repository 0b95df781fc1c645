#include "host/System_Command.h"

#include "exec/ShellCommand_Execute.h"

#include <memory>
#include <utility>

namespace {

std::optional<std::string> runInShell(const std::string& command) {
    char* buffer = nullptr;
    unsigned length = 0;
    if (!ShellCommand_Execute(command.c_str(), buffer, length))
        return std::nullopt;
    const std::unique_ptr<char[]> owner(buffer);
    return std::string(buffer, length);
}

System_CommandRunner& runner() {
    static System_CommandRunner current = runInShell;
    return current;
}

} // namespace

std::optional<std::string> System_RunCommand(const std::string& command) {
    return runner()(command);
}

System_CommandRunnerScope::System_CommandRunnerScope(System_CommandRunner replacement)
    : outer_(std::exchange(runner(), std::move(replacement))) {}

System_CommandRunnerScope::~System_CommandRunnerScope() {
    runner() = std::move(outer_);
}
