#pragma once

#include <pthread.h>

class Thread_Semaphore;

/// The platform's threads, mutexes and semaphores behind one set of functions that log what went wrong.
///
/// None of them throws. A bool is true for success; a failure is logged with the reason that the platform's
/// error code stands for (pthreads(7) and the manual pages of the calls). A null argument is a failure, not a
/// crash. Code that owns a mutex for the life of an object uses Thread_Mutex, code that locks one uses
/// MutexLock.

/// Default attributes: neither recursive nor error-checking.
bool Thread_CreateMutex(pthread_mutex_t* mutex);
bool Thread_DestroyMutex(pthread_mutex_t* mutex);
bool Thread_LockMutex(pthread_mutex_t* mutex);
bool Thread_UnLockMutex(pthread_mutex_t* mutex);

/// Whether the semaphore is usable; its constructor and destructor do the work.
bool Thread_CreateSemaphore(Thread_Semaphore* semaphore);
bool Thread_DestroySemaphore(Thread_Semaphore* semaphore);
/// `limit` is in milliseconds, Thread_Semaphore::Forever waits without one. Returns
/// Thread_Semaphore::Granted, TimedOut or Failed (0, 1, 2).
int Thread_GrabSemaphore(Thread_Semaphore* semaphore, unsigned limit);
bool Thread_ReleaseSemaphore(Thread_Semaphore* semaphore);

using Thread_EntryFunction = void* (*)(void*);

/// Starts a joinable thread with default attributes. `handle` receives what Thread_WaitForExit needs,
/// `threadId` the id that Thread_GetThreadId returns on that thread. On failure no thread runs and `threadId`
/// is -1.
bool Thread_CreateThread(pthread_t* handle, Thread_EntryFunction entry, void* argument, int& threadId);
/// Joins the thread: blocks until it has ended.
bool Thread_WaitForExit(const pthread_t* handle);
/// A small number that stays the same for a thread's handle, or -1 when memory is short.
int Thread_GetThreadId();
/// Sleeps the whole time, signals notwithstanding.
bool Thread_Sleep(unsigned seconds);
bool Thread_Yield();
