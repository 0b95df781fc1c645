#pragma once

#include <atomic>
#include <thread>

/// Asks the main thread to shut down. Safe from any thread, any number of times.
void Agent_SetShutdownFlag();

/// What each stop signal does: a log line and Agent_SetShutdownFlag. Called on the thread of Agent_Signals
/// and not in signal context, so it may take the log's lock.
void Agent_SignalHandler(int signal);

/// The thread that waits for SIGINT, SIGTERM, SIGHUP and SIGXCPU. While an object lives these signals are
/// blocked in the calling thread and in all threads that it starts afterwards, and SIGPIPE is ignored: make
/// it before the services start. Whoever starts other programs must give them an empty signal mask again.
///
/// The first signal also sees to it that nothing holds the stop: programs that run for the agent are ended,
/// connections end after the request in hand, a log that nobody reads is given up, and calls to the server
/// are broken off five seconds later. Should all this not be enough, the process ends with status 1 nine
/// seconds after the signal.
class Agent_Signals {
public:
    /// Throws std::system_error if the thread cannot be started.
    Agent_Signals();
    ~Agent_Signals();
    Agent_Signals(const Agent_Signals&) = delete;
    Agent_Signals& operator=(const Agent_Signals&) = delete;

private:
    void waitForSignals();
    void afterFirstSignal();

    std::atomic<bool> ending_{false};
    std::thread thread_;
};
