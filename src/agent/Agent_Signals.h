#pragma once

#include <atomic>
#include <thread>

/// Ends all children and asks the main thread to shut down. Safe from any thread, any number of times.
void Agent_SetShutdownFlag();

/// What a stop signal does: a log line and Agent_SetShutdownFlag. Called on the thread of Agent_Signals and
/// not in signal context, so it may take the log's lock.
void Agent_SignalHandler(int signal);

/// The thread that waits for SIGINT, SIGTERM, SIGHUP and SIGXCPU. While an object lives these signals are
/// blocked in the calling thread and in all threads that it starts afterwards, and SIGPIPE is ignored: make
/// it before the services start. Whoever starts other programs must give them an empty signal mask again.
class Agent_Signals {
public:
    /// Throws std::system_error if the thread cannot be started.
    Agent_Signals();
    ~Agent_Signals();
    Agent_Signals(const Agent_Signals&) = delete;
    Agent_Signals& operator=(const Agent_Signals&) = delete;

private:
    void waitForSignals();

    std::atomic<bool> ending_{false};
    std::thread thread_;
};
