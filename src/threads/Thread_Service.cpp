#include "threads/Thread_Service.h"

#include "log/Debug_Printf.h"
#include "threads/MutexLock.h"
#include "threads/Thread_Pool.h"

namespace {

void say(const std::string& name, const char* text) {
    DEBUG_LOG("%s%s\n", name.c_str(), text);
}

/// A thread or a runnable that can't be made ends a start as any other failure does.
bool succeeds(const std::function<bool()>& startWork) {
    try {
        return startWork();
    } catch (...) {
        return false;
    }
}

/// False if the service does not run.
bool beginShutdown(Thread_Threadable& service) {
    const MutexLock lock(service.mutex());
    if (service.checkForErrorAtShutdown(false, false))
        return false;
    service.setAsShuttingdown(false, false);
    return true;
}

} // namespace

bool Thread_StartService(Thread_Threadable& service, const std::string& name,
                         const Thread_ServiceTexts& texts, const std::function<bool()>& startWork) {
    say(name, texts.attemptingStartup);
    const MutexLock lock(service.mutex());
    if (service.checkForErrorAtStart(false, false)) {
        say(name, texts.currentlyRunning);
        return false;
    }
    service.setAsRunning(false, false);
    const bool started = succeeds(startWork);
    say(name, started ? texts.startupSuccessful : texts.startupFailed);
    return started;
}

bool Thread_ShutDownService(Thread_Threadable& service, const std::string& name,
                            const Thread_ServiceTexts& texts, std::initializer_list<Thread_Pool*> pools,
                            bool& stillRunning, unsigned attempt, bool lastAttempt) {
    stillRunning = false;
    say(name, texts.attemptingShutdown);
    if (!beginShutdown(service)) {
        say(name, texts.notRunning);
        return false;
    }
    for (Thread_Pool* pool : pools) {
        bool poolStillRuns = false;
        pool->shutdown(poolStillRuns, attempt, lastAttempt);
        stillRunning = stillRunning || poolStillRuns;
    }
    if (!stillRunning)
        say(name, texts.shutdownSuccessful);
    else
        say(name, lastAttempt ? texts.stillRunningAtLast : texts.stillRunning);
    if (!stillRunning || lastAttempt)
        service.setAsShutdown(true, true);
    return true;
}
