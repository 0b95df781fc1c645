#pragma once

#include "threads/Thread_Mutex.h"
#include "threads/Thread_Semaphore.h"

/// Base of everything that runs on a thread and can be told to stop.
///
/// Stopping is a request: setToTerminate sets a flag and wakes whoever sleeps in waitForSemaphore; the work
/// looks at isToldToTerminate as often as it can afford. Thread-safe; each flag is read and written under the
/// object's mutex.
class Thread_Terminatable {
protected:
    /// The caller holds the mutex.
    virtual void setAsRunning();
    virtual void setAsTerminated();

public:
    Thread_Terminatable() = default;
    Thread_Terminatable(const Thread_Terminatable&) = delete;
    Thread_Terminatable& operator=(const Thread_Terminatable&) = delete;
    virtual ~Thread_Terminatable() = default;

    /// True, and running from now on, if it neither ran nor was told to terminate.
    virtual bool startRunning();
    /// True if it was running; it is then as fresh as at the start, the request to terminate included.
    virtual bool endRunning();
    /// Both report through their argument, which stays untouched when the result is false.
    virtual bool isRunning(bool& running);
    virtual bool isTerminateSet(bool& terminate);
    /// For the work itself: whether it is to stop. A flag that cannot be read counts as set.
    bool isToldToTerminate();
    /// May be called any number of times. Overrides must return soon: a pool calls this with its mutex held.
    virtual bool setToTerminate();
    virtual bool signalSemaphore();
    /// Sleeps until signalSemaphore or setToTerminate, at most `limit` milliseconds; see
    /// Thread_Semaphore::grab.
    virtual int waitForSemaphore(unsigned limit);

private:
    bool running_ = false;
    bool terminate_ = false;
    Thread_Mutex mutex_;
    Thread_Semaphore semaphore_;
};
