#pragma once

#include "threads/Thread_Mutex.h"

#include <optional>
#include <pthread.h>
#include <vector>

/// Gives every thread handle a small id that never changes: 0 for the first handle seen, then counting on.
///
/// Nothing is ever removed; a handle value that the platform uses again for a new thread gets the id it had,
/// so the table stays as long as the number of threads that ever lived at one time. Thread-safe, throws
/// nothing.
class Thread_ThreadHandleTracker {
public:
    /// The id of the handle, which is registered if it is new; -1 when memory is short.
    int manageNewHandle(pthread_t handle);

    /// Starts a thread and registers its handle in one step, with the memory for that had first: a thread
    /// that runs is always one that is tracked. The result is that of pthread_create(3), none when memory is
    /// short; `id` is set if it is 0.
    std::optional<int> startThread(pthread_t* handle, void* (*entry)(void*), void* argument, int& id);

private:
    bool makeRoom();
    int idOf(pthread_t handle);

    Thread_Mutex mutex_;
    std::vector<pthread_t> handles_; ///< the index is the id
};

extern Thread_ThreadHandleTracker gThreadHandleTracker;
