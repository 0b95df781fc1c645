#include "exec/Child_Testing.h"
#include "exec/Exec_Program.h"
#include "exec/Exec_Steps.h"
#include "exec/Private_Host.h"
#include "log/Debug_Printf.h"

#include <gmock/gmock.h>

#include <chrono>
#include <grp.h>
#include <vector>

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

/// The account nobody, or whoever runs the test if that is not root.
User_Account somebody() {
    if (Private_Host::isRoot())
        return {"nobody", 65534, 65534};
    return {"self", getuid(), getgid()};
}

Exec_ExecResult runShell(const std::string& script, std::chrono::milliseconds runTime = 1h) {
    std::string option = "-c";
    std::string text = script;
    char* const arguments[] = {option.data(), text.data()};
    Exec_ArgumentVector vector;
    prepare_exec_arguments("/bin/sh", 2, arguments, vector);
    return Exec_RunAs(somebody(), vector, runTime);
}

std::string written(const std::string& script) {
    const std::string text = runShell("exec >&2; " + script + "; exit 1").getErrorString();
    const std::string failure = "Child exited with code: 1 ";
    EXPECT_TRUE(text.starts_with(failure)) << text;
    return text.substr(std::min(failure.size(), text.size()));
}

TEST(RunAs, AccountOfEachEnding) {
    const auto write = [](int count) {
        return "head -c " + std::to_string(count) + " /dev/zero | tr '\\0' x >&2; ";
    };
    const struct {
        std::string script;
        ExecResultCode code;
        std::string text;
    } cases[] = {
        {"echo warning >&2; exit 0", EXEC_SUCCESS, "success"},
        {"printf 'no such disk' >&2; exit 255", EXEC_FAILURE, "Child exited with code: 255 no such disk"},
        {write(253) + "exit 3", EXEC_FAILURE, "Child exited with code: 3 " + std::string(253, 'x')},
        {write(254) + "exit 3", EXEC_FAILURE, "Child exited with code: 3 " + std::string(254, 'x') + "..."},
        {"ulimit -c 0; kill -ABRT $$", EXEC_ERROR, "Child process was terminated due to signal: 6"},
        {"while kill -CONT $$; do sleep 0.05; done 2>/dev/null & kill -STOP $$; exit 5", EXEC_FAILURE,
         "Child exited with code: 5"},
    };
    for (const auto& each : cases) {
        const Exec_ExecResult result = runShell(each.script);
        EXPECT_EQ(result.getCode(), each.code) << each.script;
        EXPECT_EQ(result.getErrorString(), each.text) << each.script;
    }
}

TEST(RunAs, StatusesThatNeedALuckyHost) {
    Exec_ErrorCapture none;
    ExecResultCode code = EXEC_PENDING;
    std::string text;
    EXPECT_TRUE(analyze_child_termination(SIGSEGV | 0x80, true, none, code, text));
    EXPECT_EQ(code, EXEC_ERROR);
    EXPECT_EQ(text, "Child process dumped core");
    EXPECT_FALSE(analyze_child_termination(SIGSTOP << 8 | 0x7f, true, none, code, text));
    EXPECT_EQ(text, "Child process was stopped due to signal: " + std::to_string(SIGSTOP));
    EXPECT_TRUE(analyze_child_termination(9 << 8, false, none, code, text));
    EXPECT_EQ(text, "Child exited with code: 9");
}

TEST(RunAs, ProgramThatDoesNotExistIsToldInTheLogOnly) {
    const Temporary_Directory directory;
    ASSERT_TRUE(gDebugPrintf.logfile_open((directory / "log").c_str()));
    Exec_ArgumentVector vector;
    prepare_exec_arguments("/no/such/program", 0, nullptr, vector);
    const Exec_ExecResult result = Exec_RunAs(somebody(), vector, 1h);
    gDebugPrintf.logfile_close();
    EXPECT_EQ(result.getCode(), EXEC_FAILURE);
    EXPECT_EQ(result.getErrorString(), "Child exited with code: 255");
    const std::string log = contentsOf(directory / "log");
    EXPECT_THAT(log, HasSubstr("EXEC: Unable to exec /no/such/program: No such file or directory\n"));
    EXPECT_THAT(log, HasSubstr("EXEC: Call to read on stderr_pipe failed\n"));
}

TEST(RunAs, TimeLimitEndsTheWholeGroup) {
    for (const std::string script : {"trap '' TERM HUP; sleep 600", "exec yes >&2"}) {
        Group_Watch watch;
        const Exec_ExecResult result = runShell(watch.begin() + "sleep 600 & " + script, 1s);
        EXPECT_EQ(result.getCode(), EXEC_ERROR);
        EXPECT_EQ(result.getErrorString(), "Child process was ended because it ran for 1 seconds");
        watch.waitUntilAllAreGone();
    }
}

TEST(RunAs, ChildStartsClean) {
    const Disturbed_Signals disturbed;
    const int leaked = open("/dev/null", O_RDONLY); // NOLINT(android-cloexec-open): a library may do that
    const gid_t group = 4;
    if (Private_Host::isRoot()) {
        ASSERT_EQ(setgroups(1, &group), 0);
    }
    Disturbed_Signals::expectNone(written(Disturbed_Signals::show));
    EXPECT_EQ(written("ls /proc/self/fd"), "0\n1\n2\n3\n") << "the last one is that of the folder";
    if (Private_Host::isRoot()) {
        EXPECT_EQ(written("echo $(id -u) $(id -g) $(id -G)"), "65534 65534 65534\n");
        setgroups(0, nullptr);
    }
    close(leaked);
}

} // namespace
