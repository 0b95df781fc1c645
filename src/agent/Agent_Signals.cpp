#include "agent/Agent_Signals.h"

#include "agent/Agent_Run.h"
#include "exec/Exec_ChildProcess.h"
#include "log/Debug_Printf.h"
#include "net/HTTP_Stop.h"
#include "threads/Thread_Primitives.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <pthread.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int stopSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGXCPU};

/// Counted from the first signal.
constexpr std::chrono::seconds timeForCalls{5};
constexpr unsigned secondsToTheEnd = 9;
/// A call that was just about to begin is met by the next attempt.
constexpr std::chrono::seconds breakOffInterval{1};

sigset_t stopSignalSet() {
    sigset_t set;
    sigemptyset(&set);
    for (int signal : stopSignals)
        sigaddset(&set, signal);
    return set;
}

[[noreturn]] void endAtOnce(int /*signal*/) {
    _exit(EXIT_FAILURE);
}

/// The process ends by then even if every thread hangs.
void endInAnyCase() {
    std::signal(SIGALRM, endAtOnce);
    sigset_t alarmOnly;
    sigemptyset(&alarmOnly);
    sigaddset(&alarmOnly, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &alarmOnly, nullptr);
    alarm(secondsToTheEnd);
}

void beginStop() {
    endInAnyCase();
    gDebugPrintf.stopWaitingForReader();
    HTTP_BeginStop();
    Exec_ChildProcess::endAll();
}

/// The next stop signal; 0 if none comes by `until`.
int nextSignal(const sigset_t& set, Clock::time_point until) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
    const auto count = std::max<decltype(left)::rep>(left.count(), 0);
    const timespec limit{count / 1000, count % 1000 * 1000000};
    return std::max(sigtimedwait(&set, nullptr, &limit), 0);
}

} // namespace

void Agent_SetShutdownFlag() {
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
    int signal = 0;
    while (sigwait(&set, &signal) != 0) {
    }
    if (ending_)
        return;
    beginStop();
    Agent_SignalHandler(signal);
    afterFirstSignal();
}

void Agent_Signals::afterFirstSignal() {
    const sigset_t set = stopSignalSet();
    Clock::time_point breakOff = Clock::now() + timeForCalls;
    while (!ending_) {
        const int signal = nextSignal(set, breakOff);
        if (signal != 0 && !ending_)
            Agent_SignalHandler(signal);
        if (Clock::now() < breakOff)
            continue;
        HTTP_BreakOffCalls();
        breakOff += breakOffInterval;
    }
}
