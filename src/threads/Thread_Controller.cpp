#include "threads/Thread_Controller.h"

#include "threads/MutexLock.h"
#include "threads/Thread_Pool.h"
#include "threads/Thread_Runnable.h"

Thread_Controller::Thread_Controller() = default;
Thread_Controller::~Thread_Controller() = default;

bool Thread_Controller::init(Thread_Pool* pool, std::unique_ptr<pthread_t> handle) {
    if (pool == nullptr || handle == nullptr || !workSemaphore_.isValid())
        return false;
    pool_ = pool;
    const MutexLock lock(handleMutex_.get());
    handle_ = std::move(handle);
    return true;
}

void Thread_Controller::run() {
    if (pool_ != nullptr && startRunning())
        while (workSemaphore_.grab(Thread_Semaphore::Forever) == Thread_Semaphore::Granted && work() &&
               pool_->controllerComplete(this)) {
        }
    endRunning();
}

/// Runs and deletes the runnable in hand. False once told to terminate.
bool Thread_Controller::work() {
    Thread_Runnable* runnable = nullptr;
    if (!beginWork(runnable))
        return false;
    if (runnable != nullptr) {
        try {
            runnable->run();
        } catch (...) { // NOLINT(bugprone-empty-catch): whatever becomes of the work, the thread goes on
        }
        endWork();
    }
    bool terminate = false;
    return isTerminateSet(terminate) && !terminate;
}

/// One step under the runnable mutex, so that after setToTerminate nothing begins any more.
bool Thread_Controller::beginWork(Thread_Runnable*& runnable) {
    const MutexLock lock(runnableMutex_.get());
    bool terminate = false;
    if (!lock.acquired() || !isTerminateSet(terminate) || terminate)
        return false;
    runnable = runnable_.get();
    working_ = runnable != nullptr;
    return true;
}

void Thread_Controller::endWork() {
    const MutexLock lock(runnableMutex_.get());
    runnable_.reset();
    working_ = false;
}

bool Thread_Controller::setRunnable(Thread_Runnable* runnable) {
    const MutexLock lock(runnableMutex_.get());
    if (!lock.acquired())
        return false;
    runnable_.reset(runnable);
    if (workSemaphore_.release())
        return true;
    static_cast<void>(runnable_.release());
    return false;
}

bool Thread_Controller::setToTerminate() {
    bool reached = Thread_Terminatable::setToTerminate();
    {
        const MutexLock lock(runnableMutex_.get());
        if (runnable_ != nullptr) {
            try {
                reached = runnable_->setToTerminate() && reached;
            } catch (...) {
                reached = false;
            }
        }
    }
    workSemaphore_.release();
    return reached;
}

bool Thread_Controller::deallocateThread() {
    const MutexLock lock(handleMutex_.get());
    if (handle_ == nullptr)
        return true;
    const bool joined = Thread_WaitForExit(handle_.get());
    handle_.reset();
    return joined;
}

bool Thread_Controller::isWorking() {
    const MutexLock lock(runnableMutex_.get());
    return working_;
}

bool Thread_Controller::abandon(std::unique_ptr<Thread_Controller>& controller) {
    Thread_Controller& target = *controller;
    const MutexLock lock(target.runnableMutex_.get());
    if (!target.working_)
        return false;
    {
        const MutexLock handleLock(target.handleMutex_.get());
        pthread_detach(*target.handle_);
        target.handle_.reset();
    }
    target.self_ = std::move(controller);
    return true;
}

std::unique_ptr<Thread_Controller> Thread_Controller::takeAbandoned() {
    const MutexLock lock(runnableMutex_.get());
    return std::move(self_);
}

void* Thread_RunController(void* controller) {
    auto* self = static_cast<Thread_Controller*>(controller);
    self->run();
    // The controller goes here if the pool has left it behind.
    const std::unique_ptr<Thread_Controller> abandoned = self->takeAbandoned();
    return nullptr;
}
