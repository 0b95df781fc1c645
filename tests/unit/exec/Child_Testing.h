#pragma once

#include "base/Temporary_Directory.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <future>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

/// A pipe with a name that tells when the last process that has it open for writing is gone.
class Group_Watch {
public:
    Group_Watch() {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        EXPECT_EQ(chmod(path_.c_str(), 0666), 0);
        EXPECT_EQ(chmod(directory_.path().c_str(), 0777), 0);
        end_ = std::async(std::launch::async, [this] {
            const int reader = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
            char byte = 0;
            EXPECT_EQ(read(reader, &byte, 1), 0);
            close(reader);
        });
    }

    /// The beginning of a script whose processes are watched.
    std::string begin() const { return "exec 3> " + path_ + "; "; }
    void waitUntilAllAreGone() {
        // On a busy machine the script may have been ended before it got that far.
        close(open(path_.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
        end_.get();
    }

private:
    Temporary_Directory directory_;
    std::string path_ = directory_ / "pipe";
    std::future<void> end_;
};

/// The calling thread blocks signals and the process ignores one, as an agent does.
class Disturbed_Signals {
public:
    Disturbed_Signals() : handler_(std::signal(SIGPIPE, SIG_IGN)) {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &before_);
    }
    Disturbed_Signals(const Disturbed_Signals&) = delete;
    Disturbed_Signals& operator=(const Disturbed_Signals&) = delete;
    ~Disturbed_Signals() {
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        std::signal(SIGPIPE, handler_);
    }

    /// Shows what a command has inherited. Not asked about the shell, which blocks all while it forks.
    static constexpr const char* show = "grep -E '^Sig(Blk|Ign)' /proc/self/status";

    /// None is blocked and none ignored but two that the C library keeps for itself: nobody can set them
    /// through it, and whoever started the test may have left them ignored.
    static void expectNone(const std::string& shown) {
        const std::string blocked = "SigBlk:\t0000000000000000\nSigIgn:\t";
        ASSERT_TRUE(shown.starts_with(blocked)) << shown;
        const std::uint64_t reserved = (std::uint64_t{1} << 31) | (std::uint64_t{1} << 32);
        EXPECT_EQ(std::stoull(shown.substr(blocked.size()), nullptr, 16) & ~reserved, 0U) << shown;
    }

private:
    sigset_t before_{};
    void (*handler_)(int);
};
