// What it costs to run a host tool and to start a program as a user, in an agent with 200 MiB resident. The
// yard-stick is a bare posix_spawn of the same shell. Run it with
// --benchmark_enable_random_interleaving=true, so that whatever else the machine does meets all alike.
#include "base/User_Account.h"
#include "exec/Exec_Steps.h"
#include "exec/ShellCommand_Execute.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::size_t resident = std::size_t{200} << 20;

/// Every page is written to, so that it is really there.
const std::vector<char>& ballast() {
    static const std::vector<char> bytes(resident, 'x');
    return bytes;
}

void bareSpawn(benchmark::State& state) {
    benchmark::DoNotOptimize(ballast().data());
    char name[] = "sh";
    char option[] = "-c";
    char command[] = "true";
    char* const arguments[] = {name, option, command, nullptr};
    for (auto _ : state) {
        pid_t pid = 0;
        int status = 0;
        if (posix_spawn(&pid, "/bin/sh", nullptr, nullptr, arguments, environ) != 0 ||
            waitpid(pid, &status, 0) != pid || status != 0)
            state.SkipWithError("the shell did not run");
    }
}

void shellCommand(benchmark::State& state) {
    benchmark::DoNotOptimize(ballast().data());
    for (auto _ : state) {
        char* output = nullptr;
        unsigned length = 0;
        if (!ShellCommand_Execute("true", output, length))
            state.SkipWithError("the command did not run");
        const std::unique_ptr<char[]> owned(output);
    }
}

void programAsUser(benchmark::State& state) {
    benchmark::DoNotOptimize(ballast().data());
    if (geteuid() != 0) {
        state.SkipWithError("needs root");
        return;
    }
    const User_Account nobody{"nobody", 65534, 65534};
    char option[] = "-c";
    char command[] = "true";
    char* const texts[] = {option, command};
    Exec_ArgumentVector arguments;
    prepare_exec_arguments("/bin/sh", 2, texts, arguments);
    for (auto _ : state)
        if (Exec_RunAs(nobody, arguments, std::chrono::minutes(1)).getCode() != EXEC_SUCCESS)
            state.SkipWithError("the program did not run");
}

BENCHMARK(bareSpawn)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(shellCommand)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(programAsUser)->UseRealTime()->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
