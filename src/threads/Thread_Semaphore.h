#pragma once

#include <atomic>
#include <climits>
#include <pthread.h>

/// A counting semaphore: each release lets exactly one grab pass, whether it comes before or after.
///
/// Thread-safe. A release that nobody waits for is remembered and costs no system call. Whoever has grabbed
/// the last release may destroy the semaphore at once. It throws nothing; a semaphore that could not be set
/// up is invalid, and all its operations fail.
class Thread_Semaphore {
public:
    /// What grab returns.
    enum Result : int { Granted = 0, TimedOut = 1, Failed = 2 };
    /// A time limit that never runs out.
    static constexpr unsigned Forever = UINT_MAX;

    Thread_Semaphore();
    Thread_Semaphore(const Thread_Semaphore&) = delete;
    Thread_Semaphore& operator=(const Thread_Semaphore&) = delete;
    ~Thread_Semaphore();

    bool isValid() const { return valid_; }

    /// Waits for a release and consumes it. `limit` is in milliseconds and counts from the start of the
    /// current second of the monotonic clock, so a wait may end up to one second early; 0 only looks.
    int grab(unsigned limit);
    bool release();

private:
    int waitForRelease(unsigned limit);

    bool valid_;
    unsigned count_;
    unsigned waiters_;
    pthread_cond_t condition_;
    pthread_mutex_t mutex_;
    /// Releases that have let go of the mutex and not yet signalled.
    std::atomic<unsigned> signalling_;
};
