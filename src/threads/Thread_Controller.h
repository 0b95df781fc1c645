#pragma once

#include "threads/Thread_Terminatable.h"

#include <memory>
#include <pthread.h>

class Thread_Pool;
class Thread_Runnable;

/// The body of one pool thread: sleeps until it is given a runnable, runs and deletes it, asks the pool for
/// more.
///
/// The pool and the thread own it together, so that a thread that its pool has left behind still has it.
/// Lock order: the pool's mutex, then the runnable mutex, then the mutexes of the runnable. The controller
/// calls the pool with no mutex of its own held.
class Thread_Controller : public Thread_Terminatable {
public:
    Thread_Controller();
    ~Thread_Controller() override;

    /// `pool` is borrowed; `handle` is where the thread's handle will stand. False if either is missing or
    /// the controller can't be used.
    bool init(Thread_Pool* pool, std::unique_ptr<pthread_t> handle);
    /// The thread's share of the ownership: given before the thread starts, taken back if it does not, and by
    /// the thread at its end.
    void giveToThread(std::shared_ptr<Thread_Controller> self);
    std::shared_ptr<Thread_Controller> takeFromThread();

    /// The thread's life: until told to terminate, or until the pool has no more use for it.
    void run();
    /// Hands over one unit of work and wakes the thread. The controller owns the runnable if the result is
    /// true, and deletes it unrun if the thread has been told to terminate.
    bool setRunnable(Thread_Runnable* runnable);
    /// Passed on to the runnable in hand. True if it reached both.
    bool setToTerminate() override;
    /// Joins the thread, if there is one, and forgets its handle.
    bool deallocateThread();
    /// Leaves the thread to itself: nobody joins it, and the last of its owners is the thread.
    void abandonThread();

    /// True while a runnable that has begun is in hand. Once told to terminate, a controller that is not at
    /// work never works again, and its thread ends as soon as it gets a turn with the pool's mutex.
    bool isWorking();

private:
    Thread_Runnable* beginWork();
    bool endWork();
    bool work();

    Thread_Pool* pool_ = nullptr;
    std::unique_ptr<Thread_Runnable> runnable_;
    bool working_ = false;
    /// The request to terminate as the work loop sees it: in one step with the runnable, under one mutex.
    bool ending_ = false;
    Thread_Mutex runnableMutex_;
    Thread_Semaphore workSemaphore_;
    std::unique_ptr<pthread_t> handle_;
    Thread_Mutex handleMutex_;
    std::shared_ptr<Thread_Controller> self_;
};

/// The entry function of a pool thread; `controller` is a Thread_Controller. Returns null.
void* Thread_RunController(void* controller);
