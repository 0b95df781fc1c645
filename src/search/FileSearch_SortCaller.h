#pragma once

#include "threads/Thread_Mutex.h"
#include "threads/Thread_Semaphore.h"

/// Waits for a page of results that another thread writes.
class FileSearch_SortCaller {
public:
    FileSearch_SortCaller() = default;
    FileSearch_SortCaller(const FileSearch_SortCaller&) = delete;
    FileSearch_SortCaller& operator=(const FileSearch_SortCaller&) = delete;
    virtual ~FileSearch_SortCaller() = default;

    /// Waits until sortCompleted has been called, however long that takes.
    void waitUntilSortCompleted();
    /// The last thing that the other thread does with the caller and what it lent.
    void sortCompleted(bool result);
    bool getResult();

private:
    Thread_Semaphore semaphore_;
    bool result_ = false;
    Thread_Mutex mutex_;
};
