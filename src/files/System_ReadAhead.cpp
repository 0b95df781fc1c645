#include "files/System_ReadAhead.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fcntl.h>

namespace {

/// More entries of a directory are left to the walk.
constexpr std::size_t mostEntriesOfFolder = 512;
/// The thread rests while so many are prepared.
constexpr std::size_t mostPreparedEntries = 8192;
/// Each keeps a descriptor: its parent's, and then its own.
constexpr std::size_t mostJobs = 192;

std::atomic<unsigned> threadsAtWork = 0;

} // namespace

struct System_ReadAhead::Job {
    enum State { Queued, Running, Done };

    State state = Queued;
    Parent parent;
    std::string name;
    System_PreparedFolder result;
};

std::string_view System_PreparedFolder::nameOf(std::size_t entry) const {
    const std::size_t begin = entry == 0 ? 0 : entries[entry - 1].nameEnd;
    return std::string_view(names).substr(begin, entries[entry].nameEnd - begin);
}

System_ReadAhead::AtWork::AtWork() {
    ++threadsAtWork;
}

System_ReadAhead::AtWork::~AtWork() {
    --threadsAtWork;
}

std::unique_ptr<System_ReadAhead> System_ReadAhead::start() {
    if (threadsAtWork >= std::thread::hardware_concurrency())
        return nullptr;
    try {
        return std::make_unique<System_ReadAhead>();
    } catch (...) {
        return nullptr;
    }
}

System_ReadAhead::System_ReadAhead() : thread_([this] { run(); }) {}

System_ReadAhead::~System_ReadAhead() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
        hasWork_.notify_one();
    }
    thread_.join();
    for (const auto& job : jobs_)
        if (job->state == Job::Done && job->result.folder)
            job->result.folder.restoreTime();
}

System_ReadAhead::Job* System_ReadAhead::offer(Parent parent, const std::string& name, bool isNext) {
    if (unused_.empty()) {
        if (jobs_.size() == mostJobs)
            return nullptr;
        unused_.push_back(jobs_.emplace_back(std::make_unique<Job>()).get());
    }
    Job* const job = unused_.back();
    unused_.pop_back();
    job->parent = std::move(parent);
    job->name = name;
    const std::lock_guard lock(mutex_);
    job->state = Job::Queued;
    if (isNext)
        queue_.push_back(job);
    else
        queue_.push_front(job);
    if (isReaderIdle_)
        hasWork_.notify_one();
    return job;
}

bool System_ReadAhead::take(Job* job, System_PreparedFolder& into) {
    std::unique_lock lock(mutex_);
    const bool isTaken = job->state != Job::Queued;
    if (isTaken) {
        isWalkWaiting_ = true;
        isRead_.wait(lock, [&] { return job->state == Job::Done; });
        isWalkWaiting_ = false;
        std::swap(into, job->result);
        preparedEntries_ -= into.entries.size();
        if (isReaderIdle_)
            hasWork_.notify_one();
    } else {
        queue_.erase(std::find(queue_.rbegin(), queue_.rend(), job).base() - 1);
    }
    job->state = Job::Queued;
    job->parent.reset();
    unused_.push_back(job);
    return isTaken;
}

void System_ReadAhead::run() {
    const auto buffer = std::make_unique<System_FolderBuffer>();
    std::unique_lock lock(mutex_);
    for (;;) {
        isReaderIdle_ = true;
        hasWork_.wait(
            lock, [&] { return isEnding_ || (!queue_.empty() && preparedEntries_ < mostPreparedEntries); });
        isReaderIdle_ = false;
        if (isEnding_)
            return;
        Job& job = *queue_.back();
        queue_.pop_back();
        job.state = Job::Running;
        lock.unlock();
        read(job, *buffer);
        lock.lock();
        preparedEntries_ += job.result.entries.size();
        job.state = Job::Done;
        if (isWalkWaiting_)
            isRead_.notify_one();
    }
}

/// An error of opening or reading is met by the walk as well, when it goes on.
void System_ReadAhead::read(Job& job, System_FolderBuffer& buffer) {
    System_PreparedFolder& result = job.result;
    result.names.clear();
    result.entries.clear();
    result.isWhole = false;
    result.folder = System_OpenFolder(job.parent->get(), job.name.c_str());
    job.parent.reset();
    if (!result.folder)
        return;
    while (!result.folder.isBufferUsedUp() || result.entries.size() < mostEntriesOfFolder) {
        const std::optional<std::string_view> name = result.folder.next(buffer);
        if (!name) {
            result.isWhole = result.folder.error() == 0;
            return;
        }
        result.names += *name;
        System_PreparedFolder::Entry& entry = result.entries.emplace_back();
        entry.nameEnd = result.names.size();
        // A name of the kernel's ends with a zero byte.
        const bool isFound =
            fstatat(result.folder.descriptor(), name->data(), &entry.status, AT_SYMLINK_NOFOLLOW) == 0;
        entry.error = isFound ? 0 : errno;
    }
}
