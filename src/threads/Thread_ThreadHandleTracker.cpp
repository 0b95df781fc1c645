#include "threads/Thread_ThreadHandleTracker.h"

#include "threads/MutexLock.h"

#include <algorithm>
#include <new>

Thread_ThreadHandleTracker gThreadHandleTracker;

int Thread_ThreadHandleTracker::manageNewHandle(pthread_t handle) {
    const MutexLock lock(mutex_.get());
    return lock.acquired() && makeRoom() ? idOf(handle) : -1;
}

std::optional<int> Thread_ThreadHandleTracker::startThread(pthread_t* handle, void* (*entry)(void*),
                                                           void* argument, int& id) {
    const MutexLock lock(mutex_.get());
    if (!lock.acquired() || !makeRoom())
        return std::nullopt;
    const int code = pthread_create(handle, nullptr, entry, argument);
    if (code == 0)
        id = idOf(*handle);
    return code;
}

bool Thread_ThreadHandleTracker::makeRoom() {
    try {
        handles_.reserve(handles_.size() + 1);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

/// There is room for one more.
int Thread_ThreadHandleTracker::idOf(pthread_t handle) {
    const auto found = std::find_if(handles_.begin(), handles_.end(),
                                    [handle](pthread_t known) { return pthread_equal(known, handle) != 0; });
    const auto id = found - handles_.begin();
    if (found == handles_.end())
        handles_.push_back(handle);
    return static_cast<int>(id);
}
