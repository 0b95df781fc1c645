#include "search/FileSearch_Runnables.h"

#include "log/Debug_Printf.h"
#include "model/Auditable_TryAudit.h"
#include "search/FileSearch_SortCaller.h"
#include "threads/MutexLock.h"

#include <utility>

void FileSearch_SortCaller::waitUntilSortCompleted() {
    semaphore_.grab(Thread_Semaphore::Forever);
}

void FileSearch_SortCaller::sortCompleted(bool result) {
    {
        const MutexLock lock(mutex_.get());
        result_ = result;
    }
    semaphore_.release();
}

bool FileSearch_SortCaller::getResult() {
    const MutexLock lock(mutex_.get());
    return result_;
}

FileSearch_RunnableSearch::FileSearch_RunnableSearch(std::shared_ptr<FileSearch_Search> search,
                                                     std::unique_ptr<FileSearch_ProgressHandler> progress,
                                                     std::unique_ptr<FileSearch_CompleteHandler> complete)
    : search_(std::move(search)), progress_(std::move(progress)), complete_(std::move(complete)) {
    if (!search_)
        return;
    token_ = search_->getToken();
    if (const char* hostTarget = search_->getAuditParameterValue("hostTarget"))
        hostTarget_ = hostTarget;
}

void FileSearch_RunnableSearch::run() {
    DEBUG_LOG("FileSearch_RunnableSearch::run begin\n");
    if (!search_ || !progress_ || !complete_) {
        DEBUG_LOG("FileSearch_RunnableSearch::run NULL parameters, exiting\n");
        return;
    }
    DEBUG_LOG("FileSearch_RunnableSearch::run begin search token: %s\n", token_.c_str());
    search_->registerProgressHandler(progress_.get());
    search_->registerAuditFailureHandler(&failures_);
    try {
        search();
    } catch (...) {
        DEBUG_LOG("FileSearch_RunnableSearch::run audit failed with exception\n");
    }
    DEBUG_LOG("FileSearch_RunnableSearch::run finished search token: %s\n", token_.c_str());
    DEBUG_LOG("FileSearch_RunnableSearch::run finish\n");
    search_->registerProgressHandler(nullptr);
    search_->registerAuditFailureHandler(nullptr);
}

void FileSearch_RunnableSearch::search() {
    if (!Auditable_TryAudit(*search_)) {
        DEBUG_LOG("FileSearch_RunnableSearch::run audit failed\n");
        search_->cleanupAfterAudit();
        return;
    }
    if (!search_->cleanupAfterAudit()) {
        DEBUG_LOG("FileSearch_RunnableSearch::run audit cleanup failed\n");
        return;
    }
    bool delivered = false;
    complete_->handleSearchComplete(token_.c_str(), delivered,
                                    hostTarget_.empty() ? nullptr : hostTarget_.c_str());
}

bool FileSearch_RunnableSearch::setToTerminate() {
    return Thread_Runnable::setToTerminate() && (!search_ || search_->setToTerminate());
}

FileSearch_RunnableSort::FileSearch_RunnableSort(std::shared_ptr<FileSearch_Search> search,
                                                 FileSearch_SortCaller& caller,
                                                 xercesc::DOMDocument& document, xercesc::DOMElement& parent)
    : search_(std::move(search)), caller_(&caller), document_(document), parent_(parent) {}

FileSearch_RunnableSort::~FileSearch_RunnableSort() {
    tell(false);
}

void FileSearch_RunnableSort::run() {
    {
        const MutexLock lock(mutex_.get());
        if (caller_ == nullptr)
            return;
        isBeingWritten_ = true;
    }
    tell(search_->serializeResults(&document_, &parent_));
}

bool FileSearch_RunnableSort::setToTerminate() {
    const bool isSet = Thread_Runnable::setToTerminate() && search_->setToTerminate();
    bool isWaiting = false;
    {
        const MutexLock lock(mutex_.get());
        isWaiting = !isBeingWritten_;
    }
    if (isWaiting)
        tell(false);
    return isSet;
}

void FileSearch_RunnableSort::tell(bool result) {
    const MutexLock lock(mutex_.get());
    if (caller_ == nullptr)
        return;
    // A page that was written has done this itself, and another one may be under way.
    if (!isBeingWritten_)
        search_->setAction(FileSearch_Search::Idle);
    std::exchange(caller_, nullptr)->sortCompleted(result);
}
