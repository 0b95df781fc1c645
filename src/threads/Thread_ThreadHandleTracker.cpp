#include "threads/Thread_ThreadHandleTracker.h"

#include <new>

Thread_ThreadHandleTracker gThreadHandleTracker;

int Thread_ThreadHandleTracker::manageNewHandle(pthread_t handle) {
    const MutexLock lock(mutex_.get());
    if (!lock.acquired())
        return -1;
    try {
        return ids_.try_emplace(handle, static_cast<int>(ids_.size())).first->second;
    } catch (const std::bad_alloc&) {
        return -1;
    }
}

Thread_ThreadHandleTracker::Room::Room(Thread_ThreadHandleTracker& tracker)
    : tracker_(tracker), lock_(tracker.mutex_.get()) {
    if (!lock_.acquired())
        return;
    try {
        // With the buckets and the node there already, filling the room allocates nothing.
        tracker_.ids_.reserve(tracker_.ids_.size() + 1);
        Ids maker;
        maker.try_emplace(pthread_t{}, 0);
        node_ = maker.extract(maker.begin());
    } catch (const std::bad_alloc&) {
        node_ = {};
    }
}

int Thread_ThreadHandleTracker::Room::fill(pthread_t handle) {
    node_.key() = handle;
    node_.mapped() = static_cast<int>(tracker_.ids_.size());
    return tracker_.ids_.insert(std::move(node_)).position->second;
}
