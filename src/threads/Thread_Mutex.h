#pragma once

#include "threads/Thread_Primitives.h"

/// A mutex that lives as long as the object that holds it. Lock it with MutexLock on get().
class Thread_Mutex {
public:
    Thread_Mutex() { Thread_CreateMutex(&mutex_); }
    Thread_Mutex(const Thread_Mutex&) = delete;
    Thread_Mutex& operator=(const Thread_Mutex&) = delete;
    ~Thread_Mutex() { Thread_DestroyMutex(&mutex_); }

    pthread_mutex_t* get() { return &mutex_; }

private:
    pthread_mutex_t mutex_;
};
