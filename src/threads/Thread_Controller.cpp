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

void Thread_Controller::giveToThread(std::shared_ptr<Thread_Controller> self) {
    self_ = std::move(self);
}

std::shared_ptr<Thread_Controller> Thread_Controller::takeFromThread() {
    return std::move(self_);
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
    Thread_Runnable* const runnable = beginWork();
    if (runnable != nullptr) {
        try {
            runnable->run();
        } catch (...) { // NOLINT(bugprone-empty-catch): whatever becomes of the work, the thread goes on
        }
    }
    return endWork();
}

/// Null if there is nothing to run, or nothing may begin any more.
Thread_Runnable* Thread_Controller::beginWork() {
    const MutexLock lock(runnableMutex_.get());
    if (!lock.acquired() || ending_)
        return nullptr;
    working_ = runnable_ != nullptr;
    return runnable_.get();
}

bool Thread_Controller::endWork() {
    const MutexLock lock(runnableMutex_.get());
    runnable_.reset();
    working_ = false;
    return lock.acquired() && !ending_;
}

bool Thread_Controller::setRunnable(Thread_Runnable* runnable) {
    {
        const MutexLock lock(runnableMutex_.get());
        if (!lock.acquired())
            return false;
        runnable_.reset(runnable);
    }
    // The semaphore is known to be valid, so this works; without the mutex, so that the thread does not wake
    // to find it taken.
    workSemaphore_.release();
    return true;
}

bool Thread_Controller::setToTerminate() {
    bool reached = Thread_Terminatable::setToTerminate();
    {
        const MutexLock lock(runnableMutex_.get());
        ending_ = true;
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

void Thread_Controller::abandonThread() {
    const MutexLock lock(handleMutex_.get());
    if (handle_ != nullptr)
        pthread_detach(*handle_);
    handle_.reset();
}

bool Thread_Controller::isWorking() {
    const MutexLock lock(runnableMutex_.get());
    return working_;
}

void* Thread_RunController(void* controller) {
    auto* self = static_cast<Thread_Controller*>(controller);
    self->run();
    self->takeFromThread();
    return nullptr;
}
