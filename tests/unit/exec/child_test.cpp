#include "exec/Exec_ChildProcess.h"
#include "exec/Exec_CloseFrom.h"
#include "exec/Exec_Pipe.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using Wake = Exec_ChildProcess::Wake;
using Watch = Exec_ChildProcess::Watch;

pid_t startChild(const std::function<void()>& work) {
    const pid_t pid = fork();
    if (pid == 0) {
        setpgid(0, 0);
        work();
        _exit(7);
    }
    setpgid(pid, pid);
    return pid;
}

Exec_ChildProcess::Clock::time_point after(std::chrono::milliseconds time) {
    return Exec_ChildProcess::Clock::now() + time;
}

/// With the kernel's help and without.
class ChildProcess : public testing::TestWithParam<Watch> {};

INSTANTIATE_TEST_SUITE_P(Exec, ChildProcess, testing::Values(Watch::Descriptor, Watch::Polling));

TEST_P(ChildProcess, TellsWhatHappensFirst) {
    Exec_Pipe pipe;
    Exec_Pipe orders;
    fcntl(orders.readEnd(), F_SETFL, 0);
    const pid_t pid = startChild([&] {
        char order = 0;
        static_cast<void>(!read(orders.readEnd(), &order, 1));
        static_cast<void>(!write(pipe.writeEnd(), "x", 1));
        static_cast<void>(!read(orders.readEnd(), &order, 1));
    });
    const auto order = [&] { ASSERT_EQ(write(orders.writeEnd(), "!", 1), 1); };
    Exec_ChildProcess child(pid, GetParam());
    EXPECT_EQ(child.wait(pipe.readEnd(), after(10ms)), Wake::Deadline);
    order();
    EXPECT_EQ(child.wait(pipe.readEnd(), after(1h)), Wake::Readable);
    EXPECT_EQ(child.wait(pipe.readEnd(), after(0s)), Wake::Deadline);
    order();
    EXPECT_EQ(child.wait(-1, after(1h)), Wake::Ended);
    EXPECT_EQ(child.wait(-1, after(0s)), Wake::Ended);
    int status = 0;
    ASSERT_TRUE(child.reap(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
    EXPECT_EQ(waitpid(pid, nullptr, 0), -1);
}

TEST(ChildProcessReaping, ChildThatSomebodyElseReapedIsAnErrorAndNoHang) {
    const pid_t pid = startChild([] {});
    Exec_ChildProcess child(pid, Watch::Polling);
    ASSERT_EQ(waitpid(pid, nullptr, 0), pid);
    EXPECT_EQ(child.wait(-1, after(1h)), Wake::Ended);
    int status = 0;
    EXPECT_FALSE(child.reap(status));
}

/// Exec_CloseFrom itself is what every other child here goes through.
TEST(CloseFrom, CountingClosesAllFromThereAndNoneBelow) {
    const pid_t pid = startChild([] {
        const rlimit table = {1024, 1024};
        setrlimit(RLIMIT_NOFILE, &table);
        const int some = open("/dev/null", O_RDONLY | O_CLOEXEC);
        for (const int descriptor : {19, 20, 500, 1023})
            dup2(some, descriptor);
        Exec_CloseByCounting(20);
        for (int descriptor = 19; descriptor < 1024; ++descriptor)
            if ((fcntl(descriptor, F_GETFD) != -1) != (descriptor < 20))
                _exit(1);
        _exit(0);
    });
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_EQ(status, 0);
}

} // namespace
