#include "threads/Thread_Terminatable.h"

#include "threads/MutexLock.h"

void Thread_Terminatable::setAsRunning() {
    running_ = true;
}

void Thread_Terminatable::setAsTerminated() {
    running_ = false;
}

bool Thread_Terminatable::startRunning() {
    const MutexLock lock(mutex_.get());
    if (!lock.acquired() || running_ || terminate_)
        return false;
    setAsRunning();
    return true;
}

bool Thread_Terminatable::endRunning() {
    const MutexLock lock(mutex_.get());
    if (!lock.acquired() || !running_)
        return false;
    setAsTerminated();
    terminate_ = false;
    return true;
}

bool Thread_Terminatable::isRunning(bool& running) {
    const MutexLock lock(mutex_.get());
    if (!lock.acquired())
        return false;
    running = running_;
    return true;
}

bool Thread_Terminatable::isTerminateSet(bool& terminate) {
    const MutexLock lock(mutex_.get());
    if (!lock.acquired())
        return false;
    terminate = terminate_;
    return true;
}

bool Thread_Terminatable::isToldToTerminate() {
    bool terminate = false;
    return !isTerminateSet(terminate) || terminate;
}

bool Thread_Terminatable::setToTerminate() {
    {
        const MutexLock lock(mutex_.get());
        if (!lock.acquired())
            return false;
        terminate_ = true;
    }
    return Thread_Terminatable::signalSemaphore();
}

bool Thread_Terminatable::signalSemaphore() {
    return Thread_ReleaseSemaphore(&semaphore_);
}

int Thread_Terminatable::waitForSemaphore(unsigned limit) {
    return Thread_GrabSemaphore(&semaphore_, limit);
}
