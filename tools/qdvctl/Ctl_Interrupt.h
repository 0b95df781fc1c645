#pragma once

#include <atomic>
#include <csignal>
#include <string>
#include <thread>

/// While it lives, a signal that ends the process (SIGINT, SIGTERM, SIGHUP) first wipes a progress line and
/// says what is left behind, whatever the other threads are doing. To be made before any of them, so that
/// they inherit the mask; not to be used where a password is asked for.
class Ctl_Interrupt {
public:
    /// `message` is fit for a terminal and ends with a line feed.
    explicit Ctl_Interrupt(std::string message);
    Ctl_Interrupt(const Ctl_Interrupt&) = delete;
    Ctl_Interrupt& operator=(const Ctl_Interrupt&) = delete;
    ~Ctl_Interrupt();

    /// From now on there is something left behind.
    void arm() { isArmed_ = true; }

private:
    void watch();

    const std::string message_;
    sigset_t signals_{};
    sigset_t before_{};
    std::atomic<bool> isArmed_ = false;
    std::atomic<bool> isOver_ = false;
    std::thread watcher_;
};
