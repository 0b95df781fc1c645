#include "base/Temporary_Directory.h"
#include "exec/Exec_Program.h"
#include "exec/Exec_Steps.h"
#include "exec/Private_Host.h"
#include "exec/Signal_Status.h"
#include "log/Debug_Printf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <grp.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

/// The account nobody, or whoever runs the test if that is not root.
Exec_Account somebody() {
    if (Private_Host::isRoot())
        return {"nobody", 65534, 65534};
    return {"self", getuid(), getgid()};
}

Exec_ExecResult runShell(const std::string& script, std::chrono::milliseconds runTime = 30s) {
    std::string option = "-c";
    std::string text = script;
    char* const arguments[] = {option.data(), text.data()};
    Exec_ArgumentVector vector;
    prepare_exec_arguments("/bin/sh", 2, arguments, vector);
    return Exec_RunAs(somebody(), vector, runTime);
}

TEST(RunAs, AccountOfEachEnding) {
    struct Case {
        std::string script;
        ExecResultCode code;
        std::string text;
    };
    const std::string writeMany = "head -c 3000000 /dev/zero | tr '\\0' x >&2; ";
    const auto write = [](int count) {
        return "head -c " + std::to_string(count) + " /dev/zero | tr '\\0' x >&2; ";
    };
    const std::vector<Case> cases = {
        {"exit 0", EXEC_SUCCESS, "success"},
        {"echo warning >&2; exit 0", EXEC_SUCCESS, "success"},
        {writeMany + "exit 0", EXEC_SUCCESS, "success"},
        {"exit 3", EXEC_FAILURE, "Child exited with code: 3"},
        {"printf 'no such disk' >&2; exit 255", EXEC_FAILURE, "Child exited with code: 255 no such disk"},
        {write(253) + "exit 3", EXEC_FAILURE, "Child exited with code: 3 " + std::string(253, 'x')},
        {write(254) + "exit 3", EXEC_FAILURE, "Child exited with code: 3 " + std::string(254, 'x') + "..."},
        {write(300) + "exit 3", EXEC_FAILURE, "Child exited with code: 3 " + std::string(254, 'x') + "..."},
        {"printf begin >&2; " + writeMany + "exit 4", EXEC_FAILURE,
         "Child exited with code: 4 begin" + std::string(249, 'x') + "..."},
        {"kill -9 $$", EXEC_ERROR, "Child process was terminated due to signal: 9"},
        {"ulimit -c 0; kill -ABRT $$", EXEC_ERROR, "Child process was terminated due to signal: 6"},
        {"(sleep 0.1; kill -CONT $$) & kill -STOP $$; exit 5", EXEC_FAILURE, "Child exited with code: 5"},
    };
    for (const Case& each : cases) {
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
    EXPECT_EQ(code, EXEC_ERROR);
    EXPECT_EQ(text, "Child process was stopped due to signal: " + std::to_string(SIGSTOP));
    EXPECT_TRUE(analyze_child_termination(9 << 8, false, none, code, text));
    EXPECT_EQ(text, "Child exited with code: 9");
}

TEST(RunAs, ProgramThatDoesNotExistIsToldInTheLogOnly) {
    const Temporary_Directory directory;
    ASSERT_TRUE(gDebugPrintf.logfile_open((directory / "log").c_str()));
    gDebugPrintf.setEnabled(true);
    Exec_ArgumentVector vector;
    prepare_exec_arguments("/no/such/program", 0, nullptr, vector);
    const Exec_ExecResult result = Exec_RunAs(somebody(), vector, 10s);
    gDebugPrintf.logfile_close();
    EXPECT_EQ(result.getCode(), EXEC_FAILURE);
    EXPECT_EQ(result.getErrorString(), "Child exited with code: 255");
    const std::string log = contentsOf(directory / "log");
    EXPECT_THAT(log, HasSubstr("EXEC: Unable to exec /no/such/program: No such file or directory\n"));
    EXPECT_THAT(log, HasSubstr("EXEC: Call to read on stderr_pipe failed\n"));
}

TEST(RunAs, BackgroundChildThatHoldsStandardErrorIsNotWaitedForAndLives) {
    const Temporary_Directory directory;
    ASSERT_EQ(chmod(directory.path().c_str(), 0777), 0);
    const std::string fifo = directory / "fifo";
    const std::string mark = directory / "mark";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    ASSERT_EQ(chown(fifo.c_str(), somebody().uid, somebody().gid), 0);
    const Exec_ExecResult result =
        runShell("(read line < " + fifo + "; echo > " + mark + ") & printf said >&2; exit 6");
    EXPECT_EQ(result.getErrorString(), "Child exited with code: 6 said");
    putContents(fifo, "go\n");
    for (int i = 0; i < 1000 && access(mark.c_str(), F_OK) != 0; ++i)
        std::this_thread::sleep_for(10ms);
    EXPECT_EQ(access(mark.c_str(), F_OK), 0);
}

/// False if the process is gone or waits only for the first process of the machine to reap it.
bool runs(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/stat");
    std::string number;
    std::string name;
    std::string state;
    status >> number >> name >> state;
    return !state.empty() && state != "Z";
}

TEST(RunAs, TimeLimitEndsTheWholeGroup) {
    const Temporary_Directory directory;
    ASSERT_EQ(chmod(directory.path().c_str(), 0777), 0);
    const std::string pidFile = directory / "pid";
    const std::string background = "sleep 60 & echo $! > " + pidFile + "; ";
    for (const std::string script : {"trap '' TERM HUP; sleep 60", "exec yes >&2"}) {
        std::ofstream(pidFile).close();
        chmod(pidFile.c_str(), 0666);
        // On a busy machine the script needs more time to get that far.
        std::chrono::seconds limit = 1s;
        Exec_ExecResult result;
        do {
            result = runShell(background + script, limit);
            EXPECT_EQ(result.getCode(), EXEC_ERROR);
            EXPECT_EQ(result.getErrorString(), "Child process was ended because it ran for " +
                                                   std::to_string(limit.count()) + " seconds");
            limit *= 5;
        } while (contentsOf(pidFile).empty() && limit < 60s);
        const pid_t pid = std::stoi("0" + contentsOf(pidFile));
        ASSERT_NE(pid, 0);
        for (int i = 0; i < 1000 && runs(pid); ++i)
            std::this_thread::sleep_for(10ms);
        EXPECT_FALSE(runs(pid));
    }
}

TEST(RunAs, ChildStartsClean) {
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    const int leaked = open("/dev/null", O_RDONLY); // NOLINT(android-cloexec-open): a library may do that
    const gid_t group = 4;
    if (Private_Host::isRoot()) {
        ASSERT_EQ(setgroups(1, &group), 0);
    }

    const std::string text = runShell("exec 1>&2; grep -E '^Sig(Blk|Ign)' /proc/$$/status | tr -d '\\t';"
                                      "ls /proc/$$/fd | tr '\\n' ' ';"
                                      "ps -o pgid= -p $$ | tr -d ' ' | grep -qx $$ && echo leader;"
                                      "echo $(id -u) $(id -g) $(id -G); exit 1")
                                 .getErrorString();

    if (Private_Host::isRoot())
        setgroups(0, nullptr);
    close(leaked);
    pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
    std::signal(SIGPIPE, SIG_DFL);
    EXPECT_THAT(text, HasSubstr("SigBlk:0000000000000000"));
    EXPECT_EQ(ignoredSignals(text), 0U) << text;
    EXPECT_THAT(text, HasSubstr("\n0 1 2 leader\n"));
    if (Private_Host::isRoot()) {
        EXPECT_THAT(text, HasSubstr("65534 65534 65534\n"));
    }
}

TEST(RunAs, StandardDescriptorsThatAreClosed) {
    const int saved = dup(STDERR_FILENO);
    close(STDERR_FILENO);
    const std::string text = runShell("echo heard >&2; exit 1").getErrorString();
    dup2(saved, STDERR_FILENO);
    close(saved);
    EXPECT_EQ(text, "Child exited with code: 1 heard\n");
}

TEST(ExecResult, BeginsAsPending) {
    Exec_ExecResult result;
    EXPECT_EQ(result.getCode(), EXEC_PENDING);
    EXPECT_EQ(result.getErrorString(), "pending execution");
}

} // namespace
