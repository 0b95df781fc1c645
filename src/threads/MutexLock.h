#pragma once

#include "threads/Thread_Primitives.h"

/// Holds a mutex for a scope. The mutex is borrowed and must outlive the guard.
class MutexLock {
public:
    explicit MutexLock(pthread_mutex_t* mutex) : mutex_(mutex), acquired_(Thread_LockMutex(mutex)) {}
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;
    ~MutexLock() {
        if (acquired_)
            Thread_UnLockMutex(mutex_);
    }

    /// False if the mutex could not be locked; nothing is then unlocked at the end of the scope.
    bool acquired() const { return acquired_; }

private:
    pthread_mutex_t* mutex_;
    bool acquired_;
};
