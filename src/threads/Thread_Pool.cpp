#include "threads/Thread_Pool.h"

#include "threads/MutexLock.h"
#include "threads/Thread_Controller.h"
#include "threads/Thread_Runnable.h"
#include "threads/Thread_ThreadPoolException.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <thread>

namespace {

/// How long the first attempt to shut down waits for work that ends at once.
constexpr unsigned graceRounds = 20;
constexpr std::chrono::milliseconds graceRound{1};

} // namespace

Thread_Pool::Thread_Pool() = default;

Thread_Pool::~Thread_Pool() {
    bool stillRunning = false;
    Thread_Pool::shutdown(stillRunning, 0, true);
}

bool Thread_Pool::init(unsigned threads, unsigned queueLimit, unsigned growth) {
    const MutexLock lock(mutex());
    if (!lock.acquired() || checkForErrorBeforeStart(false, false))
        return false;
    threadCount_ = threads;
    queueLimit_ = queueLimit;
    growth_ = growth;
    return true;
}

bool Thread_Pool::start() {
    const MutexLock lock(mutex());
    if (!lock.acquired() || checkForErrorBeforeStart(false, false))
        return false;
    setAsRunning(false, false);
    for (unsigned made = 0; made < threadCount_; ++made)
        if (!addThread())
            return false;
    return true;
}

bool Thread_Pool::grow() {
    if (growth_ == 0 || !addThread())
        return false;
    ++threadCount_;
    --growth_;
    return true;
}

/// One more thread, idle. All memory is there before the thread is, so that a thread which runs is always
/// known.
bool Thread_Pool::addThread() {
    try {
        auto controller = std::make_shared<Thread_Controller>();
        auto handle = std::make_unique<pthread_t>();
        pthread_t* const handleOut = handle.get();
        if (!controller->init(this, std::move(handle)))
            return false;
        all_.reserve(all_.size() + 1);
        idle_.reserve(all_.size() + 1);
        busy_.reserve(all_.size() + 1);
        controller->giveToThread(controller);
        int threadId = -1;
        if (!Thread_CreateThread(handleOut, Thread_RunController, controller.get(), threadId)) {
            controller->takeFromThread();
            return false;
        }
        idle_.push_back(controller);
        all_.push_back(std::move(controller));
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool Thread_Pool::handleRunnable(Thread_Runnable* runnable, bool mayGrow) {
    std::shared_ptr<Thread_Controller> controller;
    {
        const MutexLock lock(mutex());
        if (!lock.acquired() || runnable == nullptr || checkForExitWhileRunning(false, false))
            return false;
        if (mayGrow && idle_.empty())
            grow();
        if (idle_.empty()) {
            if (queueLimit_ != Unlimited && queue_.size() + 1 > queueLimit_)
                throw Thread_ThreadPoolException(Thread_ThreadPoolException::QueueFull);
            return enqueue(runnable);
        }
        controller = takeIdle();
    }
    // The thread wakes without the pool's mutex held, which it would soon be waiting for. A shutdown that
    // comes between drops the runnable, and the controller lives until this is done.
    if (controller->setRunnable(runnable))
        return true;
    const MutexLock lock(mutex());
    makeIdle(controller.get());
    return false;
}

bool Thread_Pool::handleRunnable(std::unique_ptr<Thread_Runnable> runnable, bool mayGrow) {
    const bool taken = handleRunnable(runnable.get(), mayGrow);
    if (taken)
        static_cast<void>(runnable.release());
    return taken;
}

/// While a thread is idle nothing waits, so the runnable need not pass through the queue.
std::shared_ptr<Thread_Controller> Thread_Pool::takeIdle() {
    busy_.push_back(std::move(idle_.front()));
    idle_.erase(idle_.begin());
    return busy_.back();
}

bool Thread_Pool::makeIdle(const Thread_Controller* controller) {
    const auto found = std::find_if(busy_.begin(), busy_.end(),
                                    [&](const auto& candidate) { return candidate.get() == controller; });
    if (found == busy_.end())
        return false;
    idle_.push_back(std::move(*found));
    busy_.erase(found);
    return true;
}

bool Thread_Pool::enqueue(Thread_Runnable* runnable) {
    try {
        queue_.emplace_back().reset(runnable);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool Thread_Pool::controllerComplete(Thread_Controller* controller) {
    std::unique_ptr<Thread_Runnable> next;
    {
        const MutexLock lock(mutex());
        if (!lock.acquired() || controller == nullptr || checkForExitWhileRunning(false, false))
            return false;
        if (queue_.empty())
            return makeIdle(controller);
        next = std::move(queue_.front());
        queue_.pop_front();
    }
    if (!controller->setRunnable(next.get()))
        return false;
    static_cast<void>(next.release());
    return true;
}

bool Thread_Pool::shutdown(bool& stillRunning, unsigned attempt, bool lastAttempt) {
    stillRunning = false;
    const MutexLock oneAtATime(shutdownMutex_.get());
    if (!stopTakingWork())
        return false;
    if (attempt == 0) {
        terminateAll();
        waitWhileSomeWork();
    }
    terminateAll();

    const Controllers ending = takeEnding(lastAttempt, stillRunning);
    for (const auto& controller : ending)
        controller->deallocateThread();
    if (!stillRunning || lastAttempt)
        setAsShutdown(true, true);
    return true;
}

/// Drops what waits. The destructors of the work run without the mutex: what they do is not the pool's.
bool Thread_Pool::stopTakingWork() {
    std::deque<std::unique_ptr<Thread_Runnable>> dropped;
    const MutexLock lock(mutex());
    if (!lock.acquired() || checkForErrorAtShutdown(false, false))
        return false;
    setAsShuttingdown(false, false);
    queue_.swap(dropped);
    idle_.clear();
    busy_.clear();
    return true;
}

void Thread_Pool::terminateAll() {
    const MutexLock lock(mutex());
    for (const auto& controller : all_)
        controller->setToTerminate();
}

/// Work that heeds the request at once mostly ends within a millisecond or two; without this moment it would
/// count as still running, and cost the agent's stop a whole second.
void Thread_Pool::waitWhileSomeWork() {
    for (unsigned round = 0; round < graceRounds && someWork(); ++round)
        std::this_thread::sleep_for(graceRound);
}

bool Thread_Pool::someWork() {
    const MutexLock lock(mutex());
    return std::any_of(all_.begin(), all_.end(),
                       [](const auto& controller) { return controller->isWorking(); });
}

/// The threads that do not come back go on with their work, and end with it on their own: told to terminate,
/// they do not ask this pool for more, which may be gone by then.
void Thread_Pool::abandonAll(Controllers& controllers) {
    for (const auto& controller : controllers)
        controller->abandonThread();
    controllers.clear();
}

/// Takes out the controllers whose threads are not at work. They all have been told to terminate, so these
/// end by themselves, at most after a turn with the pool's mutex: whoever joins them must not hold it. On the
/// last attempt the others are left to themselves.
Thread_Pool::Controllers Thread_Pool::takeEnding(bool lastAttempt, bool& stillRunning) {
    const MutexLock lock(mutex());
    Controllers staying;
    Controllers ending;
    for (auto& controller : all_) {
        const bool works = controller->isWorking();
        stillRunning = stillRunning || works;
        (works ? staying : ending).push_back(std::move(controller));
    }
    if (lastAttempt)
        abandonAll(staying);
    all_ = std::move(staying);
    return ending;
}
