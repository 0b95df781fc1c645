#pragma once

#include "threads/Thread_Terminatable.h"

#include <memory>
#include <pthread.h>

class Thread_Pool;
class Thread_Runnable;

/// The body of one pool thread: sleeps until it is given a runnable, runs and deletes it, asks the pool for
/// more.
///
/// The pool owns it until the thread has been joined, or until it is abandoned, when the thread owns it.
/// Lock order: the pool's mutex, then the runnable mutex, then the mutexes of this object's base and of the
/// runnable. The controller calls the pool with no mutex of its own held.
class Thread_Controller : public Thread_Terminatable {
public:
    Thread_Controller();
    ~Thread_Controller() override;

    /// `pool` is borrowed and outlives the thread unless the controller is abandoned; `handle` is where the
    /// thread's handle will stand. False if either is missing or the semaphores can't be used.
    bool init(Thread_Pool* pool, std::unique_ptr<pthread_t> handle);
    /// The thread's life: until told to terminate, or until the pool has no more use for it.
    void run();
    /// Hands over one unit of work, which the controller owns if the result is true.
    bool setRunnable(Thread_Runnable* runnable);
    /// Passed on to the runnable in hand. True if it reached both.
    bool setToTerminate() override;
    /// Joins the thread, if there is one, and forgets its handle.
    bool deallocateThread();

    /// True while a runnable is in hand that has begun: only then may the thread take its time to end. Once
    /// told to terminate, a controller that does not work never works again.
    bool isWorking();
    /// Leaves a thread that does not come back from its runnable to itself: nobody joins it, it does not
    /// touch its pool again, and it owns and deletes `controller` at its end. Only after setToTerminate. If
    /// the thread is not at work the result is false, and the caller keeps `controller`.
    static bool abandon(std::unique_ptr<Thread_Controller>& controller);
    /// Called by the thread when run() is over: what it owns of itself.
    std::unique_ptr<Thread_Controller> takeAbandoned();

private:
    bool beginWork(Thread_Runnable*& runnable);
    void endWork();
    bool work();

    Thread_Pool* pool_ = nullptr;
    std::unique_ptr<Thread_Runnable> runnable_;
    bool working_ = false;
    std::unique_ptr<Thread_Controller> self_;
    Thread_Mutex runnableMutex_;
    Thread_Semaphore workSemaphore_;
    std::unique_ptr<pthread_t> handle_;
    Thread_Mutex handleMutex_;
};

/// The entry function of a pool thread; `controller` is a Thread_Controller. Returns null.
void* Thread_RunController(void* controller);
