#include "files/System_ReadAhead.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fcntl.h>

namespace {

/// More entries of a directory are left to the walk.
constexpr std::size_t mostEntriesOfFolder = 512;
/// The thread rests while so many are prepared of the directories that come next, and in all: what was
/// prepared before the walk went deeper waits until it comes back.
constexpr std::size_t mostEntriesNext = 1536;
constexpr std::size_t mostEntries = 16384;
/// Room for so many is kept for another directory.
constexpr std::size_t usualEntries = 128;
/// Each keeps a descriptor: its parent's, and then its own.
constexpr std::size_t mostJobs = 192;

std::atomic<unsigned> threadsAtWork = 0;

} // namespace

struct System_ReadAhead::Job {
    enum State { Offered, Running, Done };

    State state = Offered;
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

System_ReadAhead::Job* System_ReadAhead::offer(Parent parent, const std::string& name) {
    if (unused_.empty()) {
        if (jobs_.size() == mostJobs)
            return nullptr;
        unused_.push_back(jobs_.emplace_back(std::make_unique<Job>()).get());
    }
    Job* const job = unused_.back();
    unused_.pop_back();
    job->parent = std::move(parent);
    job->name = name;
    return job;
}

void System_ReadAhead::setNext(std::span<Job* const> jobs) {
    const std::lock_guard lock(mutex_);
    queue_.clear();
    entriesNext_ = 0;
    for (Job* job : jobs)
        if (job->state == Job::Offered)
            queue_.push_back(job);
        else if (job->state == Job::Done)
            entriesNext_ += job->result.entries.size();
    std::reverse(queue_.begin(), queue_.end());
    if (isThreadIdle_ && mayPrepare())
        hasWork_.notify_one();
}

bool System_ReadAhead::mayPrepare() const {
    return !queue_.empty() && entriesNext_ < mostEntriesNext && entries_ < mostEntries;
}

bool System_ReadAhead::take(Job* job, System_PreparedFolder& into) {
    std::unique_lock lock(mutex_);
    const bool isTaken = job->state != Job::Offered;
    if (isTaken) {
        // Rather than wait for the thread, the walk does what the thread would do next.
        while (job->state != Job::Done) {
            if (Job* const next = nextJob())
                prepare(*next, walkBuffer_, lock);
            else
                waitForThread(lock);
        }
        std::swap(into, job->result);
        if (job->result.entries.capacity() > usualEntries)
            job->result = {};
        entries_ -= into.entries.size();
        entriesNext_ -= std::min(entriesNext_, into.entries.size());
    } else {
        std::erase(queue_, job);
    }
    job->state = Job::Offered;
    job->parent.reset();
    unused_.push_back(job);
    return isTaken;
}

void System_ReadAhead::waitForThread(std::unique_lock<std::mutex>& lock) {
    isWalkWaiting_ = true;
    isRead_.wait(lock);
    isWalkWaiting_ = false;
}

/// What is to be prepared next; null if there is nothing or enough is.
System_ReadAhead::Job* System_ReadAhead::nextJob() {
    if (!mayPrepare())
        return nullptr;
    Job* const job = queue_.back();
    queue_.pop_back();
    return job;
}

void System_ReadAhead::prepare(Job& job, System_FolderBuffer& buffer, std::unique_lock<std::mutex>& lock) {
    job.state = Job::Running;
    lock.unlock();
    try {
        read(job, buffer);
    } catch (...) { // memory is short: the walk reads the directory itself
        if (job.result.folder)
            job.result.folder.restoreTime();
        job.result = {};
    }
    lock.lock();
    entries_ += job.result.entries.size();
    entriesNext_ += job.result.entries.size();
    job.state = Job::Done;
}

void System_ReadAhead::run() {
    std::unique_lock lock(mutex_);
    while (!isEnding_) {
        if (Job* const job = nextJob()) {
            prepare(*job, threadBuffer_, lock);
            if (isWalkWaiting_)
                isRead_.notify_one();
        } else {
            isThreadIdle_ = true;
            hasWork_.wait(lock);
            isThreadIdle_ = false;
        }
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
