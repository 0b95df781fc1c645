#pragma once

#include "threads/Thread_Mutex.h"
#include "threads/Thread_Semaphore.h"

/// Base of a service: something with threads behind it that a Thread_Manager starts and stops.
///
/// It is stopped, running, or shutting down, then stopped again, and may then be started anew. Thread-safe;
/// each flag is read and written under the object's mutex.
///
/// The state operations take two flags: `lock` takes the mutex first, `unlock` releases it afterwards. A
/// caller that already holds it passes (false, false); a check that opens a critical section passes (true,
/// false) and ends the section with unlockMutex, whatever the check said. A scope guard on mutex() does the
/// same by itself.
class Thread_Threadable {
public:
    virtual bool setAsRunning(bool lock, bool unlock);
    /// Also releases the semaphore, so that a thread of the service that sleeps in waitForSemaphore wakes.
    virtual bool setAsShuttingdown(bool lock, bool unlock);
    virtual bool setAsShutdown(bool lock, bool unlock);
    /// True if the service runs or is shutting down: starting it, or setting it up, is wrong.
    virtual bool checkForErrorBeforeStart(bool lock, bool unlock);
    virtual bool checkForErrorAtStart(bool lock, bool unlock);
    /// True unless the service runs and is not shutting down: work must not be taken.
    virtual bool checkForExitWhileRunning(bool lock, bool unlock);
    /// True if the service does not run: shutting it down is wrong.
    virtual bool checkForErrorAtShutdown(bool lock, bool unlock);
    virtual bool lockMutex();
    virtual bool unlockMutex();

    Thread_Threadable() = default;
    Thread_Threadable(const Thread_Threadable&) = delete;
    Thread_Threadable& operator=(const Thread_Threadable&) = delete;
    virtual ~Thread_Threadable() = default;

    /// True once the service runs.
    virtual bool start() = 0;
    /// Called again and again until `stillRunning` comes back false. `attempt` counts from 0, `lastAttempt`
    /// is set on the final call. False if the service did not run at all.
    virtual bool shutdown(bool& stillRunning, unsigned attempt, bool lastAttempt) = 0;
    virtual bool signalSemaphore();
    /// Sleeps until signalSemaphore or setAsShuttingdown, at most `limit` milliseconds; see
    /// Thread_Semaphore::grab.
    virtual int waitForSemaphore(unsigned limit);

    /// For a MutexLock around a check and the work that follows it.
    pthread_mutex_t* mutex() { return mutex_.get(); }

private:
    template <typename Step>
    bool withMutex(bool lock, bool unlock, Step step);

    bool running_ = false;
    bool shuttingDown_ = false;
    Thread_Mutex mutex_;
    Thread_Semaphore semaphore_;
};
