#include "threads/Thread_Primitives.h"

#include "log/Debug_Printf.h"
#include "threads/Thread_Failure.h"
#include "threads/Thread_Semaphore.h"
#include "threads/Thread_ThreadHandleTracker.h"

#include <cerrno>
#include <ctime>
#include <sched.h>

bool Thread_CreateMutex(pthread_mutex_t* mutex) {
    constexpr const char* function = "Thread_CreateMutex";
    if (mutex == nullptr)
        return Thread_NullArgument(function, "mutex");
    return Thread_Succeeded(pthread_mutex_init(mutex, nullptr), function, "create mutex");
}

bool Thread_DestroyMutex(pthread_mutex_t* mutex) {
    constexpr const char* function = "Thread_DestroyMutex";
    if (mutex == nullptr)
        return Thread_NullArgument(function, "mutex");
    return Thread_Succeeded(pthread_mutex_destroy(mutex), function, "destroy mutex");
}

bool Thread_LockMutex(pthread_mutex_t* mutex) {
    constexpr const char* function = "Thread_LockMutex";
    if (mutex == nullptr)
        return Thread_NullArgument(function, "mutex");
    return Thread_Succeeded(pthread_mutex_lock(mutex), function, "lock mutex");
}

bool Thread_UnLockMutex(pthread_mutex_t* mutex) {
    constexpr const char* function = "Thread_UnLockMutex";
    if (mutex == nullptr)
        return Thread_NullArgument(function, "mutex");
    return Thread_Succeeded(pthread_mutex_unlock(mutex), function, "unlock mutex");
}

bool Thread_CreateSemaphore(Thread_Semaphore* semaphore) {
    if (semaphore == nullptr)
        return Thread_NullArgument("Thread_CreateSemaphore", "semaphore");
    return semaphore->isValid();
}

bool Thread_DestroySemaphore(Thread_Semaphore* semaphore) {
    if (semaphore == nullptr)
        return Thread_NullArgument("Thread_DestroySemaphore", "semaphore");
    return semaphore->isValid();
}

int Thread_GrabSemaphore(Thread_Semaphore* semaphore, unsigned limit) {
    if (semaphore == nullptr) {
        Thread_NullArgument("Thread_GrabSemaphore", "semaphore");
        return Thread_Semaphore::Failed;
    }
    return semaphore->grab(limit);
}

bool Thread_ReleaseSemaphore(Thread_Semaphore* semaphore) {
    if (semaphore == nullptr)
        return Thread_NullArgument("Thread_ReleaseSemaphore", "semaphore");
    return semaphore->release();
}

bool Thread_CreateThread(pthread_t* handle, Thread_EntryFunction entry, void* argument, int& threadId) {
    constexpr const char* function = "Thread_CreateThread";
    threadId = -1;
    if (handle == nullptr)
        return Thread_NullArgument(function, "thread");

    if (const auto code = gThreadHandleTracker.startThread(handle, entry, argument, threadId))
        return Thread_Succeeded(*code, function, "create thread");
    DEBUG_LOG("THREAD: %s: failed to track thread\n", function);
    return false;
}

bool Thread_WaitForExit(const pthread_t* handle) {
    constexpr const char* function = "Thread_WaitForExit";
    if (handle == nullptr)
        return Thread_NullArgument(function, "thread");
    return Thread_Succeeded(pthread_join(*handle, nullptr), function, "wait for thread");
}

int Thread_GetThreadId() {
    // The id of a handle never changes, so each thread asks the tracker once.
    thread_local int id = -1;
    if (id == -1)
        id = gThreadHandleTracker.manageNewHandle(pthread_self());
    return id;
}

bool Thread_Sleep(unsigned seconds) {
    timespec rest{};
    rest.tv_sec = seconds;
    int code = EINTR;
    while (code == EINTR)
        code = clock_nanosleep(CLOCK_MONOTONIC, 0, &rest, &rest);
    return Thread_Succeeded(code, "Thread_Sleep", "sleep");
}

bool Thread_Yield() {
    return sched_yield() == 0;
}
