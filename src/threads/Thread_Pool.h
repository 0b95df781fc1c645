#pragma once

#include "threads/Thread_Threadable.h"

#include <climits>
#include <deque>
#include <memory>
#include <vector>

class Thread_Controller;
class Thread_Runnable;

/// Threads that run the runnables they are given, each on the first idle thread or, in order, when one
/// becomes idle.
///
/// init, then start; shutdown stops it, and it may be started again. Thread-safe. An idle thread sleeps
/// without waking. The pool may be destroyed while threads of it are still at work after a last attempt to
/// shut down: such a thread ends after its runnable and touches the pool no more.
///
/// Lock order: the shutdown mutex, then the pool's mutex, then those of a controller.
class Thread_Pool : public Thread_Threadable {
public:
    static constexpr unsigned Unlimited = UINT_MAX;

    Thread_Pool();
    /// Shuts down with one last attempt if nobody has.
    ~Thread_Pool() override;

    /// `threads` are started by start; `queueLimit` is how many runnables may wait while no thread is idle;
    /// `growth` how many threads handleRunnable may add. False, and nothing changes, while the pool runs.
    bool init(unsigned threads, unsigned queueLimit, unsigned growth);
    /// False if the pool already runs or a thread could not be made. In the second case the threads made so
    /// far run, and shutdown ends them.
    bool start() override;
    /// Drops the runnables that wait, tells the others to terminate and joins each thread that is not at
    /// work. `stillRunning` says whether some are. On the last attempt those are abandoned and the pool is
    /// stopped.
    bool shutdown(bool& stillRunning, unsigned attempt, bool lastAttempt) override;

    /// Takes `runnable` and owns it if the result is true; on false or an exception the caller still owns it.
    /// `mayGrow` lets the pool add a thread when none is idle. False if the pool does not take work. Throws
    /// Thread_ThreadPoolException with QueueFull if it would have to wait and the queue is full; nothing
    /// else.
    bool handleRunnable(Thread_Runnable* runnable, bool mayGrow);
    /// The same for work that is dropped if it is not taken.
    bool handleRunnable(std::unique_ptr<Thread_Runnable> runnable, bool mayGrow);
    /// Adds one thread out of the growth allowance, which never comes back. The caller holds the mutex.
    bool grow();
    /// For a controller whose runnable is done: true if it is to wait for work, which may already be there.
    bool controllerComplete(Thread_Controller* controller);

private:
    using Controllers = std::vector<std::shared_ptr<Thread_Controller>>;

    bool addThread();
    std::shared_ptr<Thread_Controller> takeIdle();
    bool makeIdle(const Thread_Controller* controller);
    bool enqueue(Thread_Runnable* runnable);
    bool stopTakingWork();
    void terminateAll();
    void waitWhileSomeWork();
    bool someWork();
    static void abandonAll(Controllers& controllers);
    Controllers takeEnding(bool lastAttempt, bool& stillRunning);

    unsigned threadCount_ = 0;
    unsigned queueLimit_ = Unlimited;
    unsigned growth_ = 0;
    std::deque<std::unique_ptr<Thread_Runnable>> queue_;
    /// Every controller is here, and while the pool runs in one of idle and busy. All three have room for
    /// all, so that handing over allocates nothing.
    Controllers all_;
    Controllers idle_;
    Controllers busy_;
    Thread_Mutex shutdownMutex_;
};
