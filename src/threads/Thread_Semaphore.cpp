#include "threads/Thread_Semaphore.h"

#include "log/Debug_Printf.h"
#include "threads/MutexLock.h"
#include "threads/Thread_Failure.h"

#include <cerrno>
#include <ctime>

namespace {

constexpr unsigned millisecondsPerSecond = 1000;
constexpr long nanosecondsPerMillisecond = 1'000'000;

/// Counted from the start of the current second, so that a limit of 0 has always passed already.
timespec deadlineAfter(unsigned milliseconds) {
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += milliseconds / millisecondsPerSecond;
    deadline.tv_nsec = (milliseconds % millisecondsPerSecond) * nanosecondsPerMillisecond;
    return deadline;
}

} // namespace

Thread_Semaphore::Thread_Semaphore() : valid_(true), count_(0), waiters_(0), signalling_(0) {
    if (!Thread_Succeeded(pthread_cond_init(&condition_, nullptr), "Thread_Semaphore", "create condition"))
        valid_ = false;
    if (!Thread_CreateMutex(&mutex_))
        valid_ = false;
}

/// Whoever grabbed the last release may be here before the thread that gave it has left release().
Thread_Semaphore::~Thread_Semaphore() {
    while (signalling_.load(std::memory_order_acquire) != 0)
        Thread_Yield();
    Thread_Succeeded(pthread_cond_destroy(&condition_), "~Thread_Semaphore", "destroy condition");
    Thread_DestroyMutex(&mutex_);
}

int Thread_Semaphore::grab(unsigned limit) {
    if (!valid_) {
        DEBUG_LOG("THREAD: Thread_Semaphore::grab: failed to grab semaphore: not valid\n");
        return Failed;
    }
    const MutexLock lock(&mutex_);
    if (!lock.acquired())
        return Failed;
    if (count_ == 0) {
        ++waiters_;
        const int failure = waitForRelease(limit);
        --waiters_;
        if (failure != Granted)
            return failure;
    }
    --count_;
    return Granted;
}

/// Only a count above 0 ends a wait well: a wake-up may be spurious, and another thread may have been
/// quicker.
int Thread_Semaphore::waitForRelease(unsigned limit) {
    const timespec deadline = limit == Forever ? timespec{} : deadlineAfter(limit);
    int code = 0;
    while (count_ == 0 && code == 0)
        code = limit == Forever ? pthread_cond_wait(&condition_, &mutex_)
                                : pthread_cond_clockwait(&condition_, &mutex_, CLOCK_MONOTONIC, &deadline);
    if (count_ > 0)
        return Granted;
    if (code == ETIMEDOUT)
        return TimedOut;
    DEBUG_LOG("THREAD: Thread_GrabSemaphore: failed to grab semaphore\n");
    return Failed;
}

bool Thread_Semaphore::release() {
    if (!valid_) {
        DEBUG_LOG("THREAD: Thread_Semaphore::release: failed to release semaphore: not valid\n");
        return false;
    }
    {
        const MutexLock lock(&mutex_);
        if (!lock.acquired())
            return false;
        ++count_;
        if (waiters_ == 0)
            return true;
        signalling_.fetch_add(1, std::memory_order_relaxed);
    }
    // Without the mutex, which the thread that this wakes would run into at once.
    Thread_Succeeded(pthread_cond_signal(&condition_), "Thread_Semaphore::release", "signal condition");
    signalling_.fetch_sub(1, std::memory_order_release);
    return true;
}
