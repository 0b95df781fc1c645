#pragma once

#include "threads/MutexLock.h"
#include "threads/Thread_Mutex.h"

#include <unordered_map>

/// Gives every thread handle a small id that never changes: 0 for the first handle seen, then counting on.
///
/// Nothing is ever removed; a handle value that the platform uses again for a new thread gets the id it had,
/// so the table stays as long as the number of threads that ever lived at one time. Thread-safe, throws
/// nothing.
class Thread_ThreadHandleTracker {
    using Ids = std::unordered_map<pthread_t, int>;

public:
    Thread_ThreadHandleTracker() = default;
    Thread_ThreadHandleTracker(const Thread_ThreadHandleTracker&) = delete;
    Thread_ThreadHandleTracker& operator=(const Thread_ThreadHandleTracker&) = delete;
    ~Thread_ThreadHandleTracker() = default;

    /// The id of the handle, which is registered if it is new; -1 when memory is short.
    int manageNewHandle(pthread_t handle);

    /// Room for one handle, and the tracker held still until it is used or given up: whoever starts a thread
    /// takes the room first, so that a thread which runs is always one that is tracked.
    class Room {
    public:
        explicit Room(Thread_ThreadHandleTracker& tracker);
        /// False when memory is short or the tracker could not be locked.
        bool isThere() const { return !node_.empty(); }
        /// Only once, and only if the room is there.
        int fill(pthread_t handle);

    private:
        Thread_ThreadHandleTracker& tracker_;
        MutexLock lock_;
        Ids::node_type node_;
    };

private:
    Thread_Mutex mutex_;
    Ids ids_;
};

extern Thread_ThreadHandleTracker gThreadHandleTracker;
