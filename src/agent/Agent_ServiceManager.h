#pragma once

#include <chrono>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>

/// The service manager that started the agent and wants to be told how it fares (sd_notify(3)), if there is
/// one; without it nothing is sent. Operations are for any thread.
class Agent_ServiceManager {
public:
    /// Takes NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID out of the environment, so that no child process
    /// speaks for the agent. Before other threads run.
    Agent_ServiceManager();

    /// Sends assignments, one a line, such as "READY=1\nSTATUS=Serving". What cannot be sent is lost.
    void tell(std::string_view assignments) const;

    /// How long the service manager waits for "WATCHDOG=1" before it takes the agent for dead; 0 if it does
    /// not wait for any.
    std::chrono::microseconds watchdogLimit() const { return watchdogLimit_; }

private:
    sockaddr_un address_{};
    socklen_t addressLength_ = 0; ///< 0 if nobody is to be told
    std::chrono::microseconds watchdogLimit_{0};
};
