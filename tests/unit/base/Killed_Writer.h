#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

/// A child process that does `write(0)`, `write(1)` and so on as fast as it can, and is killed without
/// warning.
class Killed_Writer {
public:
    /// Returns when the first write is done, so that there is a change to be seen on the slowest machine.
    template <class Write>
    explicit Killed_Writer(Write write) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        child_ = fork();
        EXPECT_NE(child_, -1);
        if (child_ == 0) {
            for (unsigned i = 0;; ++i) {
                write(i);
                if (i == 0 && ::write(ends[1], "", 1) != 1)
                    _exit(1);
            }
        }
        close(ends[1]);
        char done = 0;
        EXPECT_EQ(read(ends[0], &done, 1), 1);
        close(ends[0]);
    }
    Killed_Writer(const Killed_Writer&) = delete;
    Killed_Writer& operator=(const Killed_Writer&) = delete;

    /// Returns when the child is gone.
    ~Killed_Writer() {
        kill(child_, SIGKILL);
        int status = 0;
        EXPECT_EQ(waitpid(child_, &status, 0), child_);
        EXPECT_TRUE(WIFSIGNALED(status));
    }

private:
    pid_t child_;
};
