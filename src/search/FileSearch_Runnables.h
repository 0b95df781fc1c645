#pragma once

#include "model/System_AuditFailures.h"
#include "search/FileSearch_Handlers.h"
#include "search/FileSearch_Search.h"
#include "threads/Thread_Runnable.h"

#include <functional>
#include <memory>
#include <string>

class FileSearch_SortCaller;

/// Runs a search and tells who is to know that it has ended. The search is shared with the manager, which may
/// forget it as soon as its action is idle.
class FileSearch_RunnableSearch : public Thread_Runnable {
public:
    FileSearch_RunnableSearch(std::shared_ptr<FileSearch_Search> search,
                              std::unique_ptr<FileSearch_ProgressHandler> progress,
                              std::unique_ptr<FileSearch_CompleteHandler> complete);
    void run() override;
    bool setToTerminate() override;

private:
    void search();

    std::shared_ptr<FileSearch_Search> search_;
    std::unique_ptr<FileSearch_ProgressHandler> progress_;
    std::unique_ptr<FileSearch_CompleteHandler> complete_;
    System_AuditFailures failures_;
    std::string token_;
    std::string hostTarget_;
};

/// Writes a page of results for a caller, who waits and is told in any case, also if the page is never run.
class FileSearch_RunnableSort : public Thread_Runnable {
public:
    /// All but the search is borrowed until the caller has been told.
    FileSearch_RunnableSort(std::shared_ptr<FileSearch_Search> search, FileSearch_SortCaller& caller,
                            xercesc::DOMDocument& document, xercesc::DOMElement& parent);
    ~FileSearch_RunnableSort() override;
    void run() override;
    /// A page that is being written ends soon, and then tells the caller; one that waits tells him now.
    bool setToTerminate() override;

private:
    void tell(bool result);

    std::shared_ptr<FileSearch_Search> search_;
    FileSearch_SortCaller* caller_;
    xercesc::DOMDocument& document_;
    xercesc::DOMElement& parent_;
    bool isBeingWritten_ = false;
    Thread_Mutex mutex_; ///< guards the caller
};

/// The look for what has expired, which the manager does for as long as it runs.
class FileSearch_RunnableExpire : public Thread_Runnable {
public:
    explicit FileSearch_RunnableExpire(std::function<void()> work) : work_(std::move(work)) {}
    void run() override { work_(); }

private:
    std::function<void()> work_;
};
