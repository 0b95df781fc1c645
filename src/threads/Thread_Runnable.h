#pragma once

#include "threads/Thread_Terminatable.h"

#include <string>

/// One unit of work for a Thread_Pool, which owns it from the moment it has taken it and deletes it after
/// run() on the thread that ran it, or unrun when the pool shuts down.
///
/// run() is called once, on a pool thread. An exception that leaves it is swallowed. setToTerminate may come
/// from another thread at any time between the hand-over and the end of run(). The two texts are for the
/// thread that has the runnable and carry no lock.
class Thread_Runnable : public Thread_Terminatable {
public:
    virtual void run() = 0;

    /// A null argument leaves the text as it is. Both texts are "unknown" at first.
    void setName(const char* name);
    const char* getName() const { return name_.c_str(); }
    void setHostTarget(const char* hostTarget);
    const char* getHostTarget() const { return hostTarget_.c_str(); }

private:
    std::string name_ = "unknown";
    std::string hostTarget_ = "unknown";
};
