#include "exec/Exec_ChildProcess.h"
#include "exec/Exec_CloseFrom.h"
#include "exec/Exec_Pipe.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
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
    EXPECT_EQ(child.wait(pipe.readEnd(), after(10s)), Wake::Readable);
    EXPECT_EQ(child.wait(pipe.readEnd(), after(0s)), Wake::Deadline);
    order();
    EXPECT_EQ(child.wait(-1, after(10s)), Wake::Ended);
    EXPECT_EQ(child.wait(-1, after(0s)), Wake::Ended);
    int status = 0;
    ASSERT_TRUE(child.reap(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
    EXPECT_EQ(waitpid(pid, nullptr, 0), -1);
}

TEST_P(ChildProcess, GoesWithItsGroup) {
    Exec_Pipe pipe;
    {
        const Exec_ChildProcess child(startChild([&pipe] {
                                          if (fork() == 0)
                                              fcntl(pipe.writeEnd(), F_SETFD, 0);
                                          pause();
                                      }),
                                      GetParam());
        pipe.closeWriteEnd();
    }
    // The end of file comes when the last process that holds the pipe is gone.
    fcntl(pipe.readEnd(), F_SETFL, 0);
    char byte = 0;
    EXPECT_EQ(read(pipe.readEnd(), &byte, 1), 0);
}

TEST(ChildProcessReaping, ChildThatSomebodyElseReapedIsAnErrorAndNoHang) {
    const pid_t pid = startChild([] {});
    Exec_ChildProcess child(pid, Watch::Polling);
    ASSERT_EQ(waitpid(pid, nullptr, 0), pid);
    EXPECT_EQ(child.wait(-1, after(10s)), Wake::Ended);
    int status = 0;
    EXPECT_FALSE(child.reap(status));
}

TEST(ErrorCapture, KeepsTheBeginningAndNeverWaits) {
    Exec_ErrorCapture capture;
    capture.readOnce();
    EXPECT_EQ(capture.text(), "");
    const std::string first(200, 'a');
    const std::string second(200, 'b');
    static_cast<void>(!write(capture.writeEnd(), first.data(), first.size()));
    capture.readOnce();
    static_cast<void>(!write(capture.writeEnd(), second.data(), second.size()));
    capture.readRest();
    EXPECT_EQ(capture.text(), first + std::string(54, 'b'));
    EXPECT_NE(capture.watched(), -1);
    capture.closeWriteEnd();
    capture.readOnce(); // what was left
    capture.readOnce(); // the end
    EXPECT_EQ(capture.watched(), -1);
}

TEST(CloseFrom, EachWayClosesAllFromThereAndNoneBelow) {
    const std::array<bool (*)(unsigned), 4> ways = {
        [](unsigned first) { return Exec_CloseByRange(first); },
        [](unsigned first) { return Exec_CloseByListing(first); },
        [](unsigned first) {
            Exec_CloseByCounting(first);
            return true;
        },
        [](unsigned first) {
            Exec_CloseFrom(first);
            return true;
        },
    };
    for (std::size_t way = 0; way < ways.size(); ++way) {
        const pid_t pid = startChild([&] {
            constexpr int highest = 900;
            const rlimit table = {1024, 1024};
            setrlimit(RLIMIT_NOFILE, &table);
            for (int descriptor = 10; descriptor <= highest; ++descriptor)
                dup2(0, descriptor);
            if (!ways[way](20))
                _exit(1);
            for (int descriptor = 10; descriptor <= highest; ++descriptor)
                if ((fcntl(descriptor, F_GETFD) != -1) != (descriptor < 20))
                    _exit(2);
            _exit(0);
        });
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        // A kernel before 5.9 has no close_range.
        EXPECT_TRUE(status == 0 || (way == 0 && WEXITSTATUS(status) == 1)) << way << ": " << status;
    }
}

} // namespace
