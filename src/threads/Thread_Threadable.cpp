#include "threads/Thread_Threadable.h"

#include "threads/Thread_Primitives.h"

/// What every state operation does around its own step; false if the mutex would not lock or unlock.
template <typename Step>
bool Thread_Threadable::withMutex(bool lock, bool unlock, Step step) {
    if (lock && !lockMutex())
        return false;
    step();
    return !unlock || unlockMutex();
}

bool Thread_Threadable::setAsRunning(bool lock, bool unlock) {
    return withMutex(lock, unlock, [this] { running_ = true; });
}

bool Thread_Threadable::setAsShuttingdown(bool lock, bool unlock) {
    return withMutex(lock, unlock, [this] { shuttingDown_ = true; }) && signalSemaphore();
}

bool Thread_Threadable::setAsShutdown(bool lock, bool unlock) {
    return withMutex(lock, unlock, [this] { running_ = shuttingDown_ = false; });
}

bool Thread_Threadable::checkForErrorBeforeStart(bool lock, bool unlock) {
    return checkForErrorAtStart(lock, unlock);
}

bool Thread_Threadable::checkForErrorAtStart(bool lock, bool unlock) {
    bool error = true;
    withMutex(lock, unlock, [&] { error = running_ || shuttingDown_; });
    return error;
}

bool Thread_Threadable::checkForExitWhileRunning(bool lock, bool unlock) {
    bool exit = true;
    withMutex(lock, unlock, [&] { exit = !running_ || shuttingDown_; });
    return exit;
}

bool Thread_Threadable::checkForErrorAtShutdown(bool lock, bool unlock) {
    bool error = true;
    withMutex(lock, unlock, [&] { error = !running_; });
    return error;
}

bool Thread_Threadable::lockMutex() {
    return Thread_LockMutex(mutex_.get());
}

bool Thread_Threadable::unlockMutex() {
    return Thread_UnLockMutex(mutex_.get());
}

bool Thread_Threadable::signalSemaphore() {
    return Thread_ReleaseSemaphore(&semaphore_);
}

int Thread_Threadable::waitForSemaphore(unsigned limit) {
    return Thread_GrabSemaphore(&semaphore_, limit);
}
