#include "agent/Agent_Signals.h"

#include "agent/Agent_Run.h"
#include "exec/Exec_ChildProcess.h"
#include "log/Debug_Printf.h"
#include "threads/Thread_Primitives.h"

#include <csignal>
#include <pthread.h>

namespace {

constexpr int stopSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGXCPU};

sigset_t stopSignalSet() {
    sigset_t set;
    sigemptyset(&set);
    for (int signal : stopSignals)
        sigaddset(&set, signal);
    return set;
}

} // namespace

void Agent_SetShutdownFlag() {
    Exec_ChildProcess::endAll(); // at once, whatever the main thread is doing
    Thread_ReleaseSemaphore(&gShutdownSemaphore);
}

void Agent_SignalHandler(int signal) {
    DEBUG_LOG("Agent_SignalHandler() agent received signal %d. Shutting down.\n", signal);
    Agent_SetShutdownFlag();
}

Agent_Signals::Agent_Signals() {
    std::signal(SIGPIPE, SIG_IGN);
    const sigset_t set = stopSignalSet();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    // What the parent had ignored, nohup say, would never arrive.
    for (int signal : stopSignals)
        std::signal(signal, SIG_DFL);
    // Nor would the end of a program that an action runs.
    std::signal(SIGCHLD, SIG_DFL);
    thread_ = std::thread([this] { waitForSignals(); });
}

Agent_Signals::~Agent_Signals() {
    ending_ = true;
    // The mask stays: a stop signal that comes this late would kill the process in the middle of its
    // clean-up.
    pthread_kill(thread_.native_handle(), SIGHUP);
    thread_.join();
}

void Agent_Signals::waitForSignals() {
    const sigset_t set = stopSignalSet();
    for (;;) {
        int signal = 0;
        if (sigwait(&set, &signal) != 0)
            continue;
        if (ending_)
            return;
        Agent_SignalHandler(signal);
    }
}
