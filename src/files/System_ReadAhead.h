#pragma once

#include "base/File_Descriptor.h"
#include "files/System_OpenFolder.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <thread>
#include <vector>

/// A directory that has been opened, and the first of its entries, in the order in which they are read.
struct System_PreparedFolder {
    struct Entry {
        std::size_t nameEnd; ///< in `names`
        int error;           ///< an errno(3) number; 0 if there is a status
        struct stat status;
    };

    System_OpenFolder folder;
    bool isWhole = false; ///< no entry is left to be read from it
    std::string names;
    std::vector<Entry> entries;

    std::string_view nameOf(std::size_t entry) const;
};

/// Opens and reads directories and looks at their entries ahead of a walk, on a thread of its own.
///
/// The walk offers the directories that it will come to and takes each when it has come there; one that the
/// thread has not begun with by then the walk reads itself. Times are as if nobody had read: those of what
/// was not taken are put back. What is prepared and not taken is some ten thousand entries at most. The
/// object belongs to the thread of the walk, and waits for the other one when it goes.
class System_ReadAhead {
public:
    using Parent = std::shared_ptr<const File_Descriptor>;
    struct Job;

    /// How many threads walk or read ahead in this process. A walk counts itself while it lasts.
    class AtWork {
    public:
        AtWork();
        AtWork(const AtWork&) = delete;
        AtWork& operator=(const AtWork&) = delete;
        ~AtWork();
    };

    /// Null if those at work fill the processors, or no thread can be had.
    static std::unique_ptr<System_ReadAhead> start();
    /// Throws std::system_error.
    System_ReadAhead();
    System_ReadAhead(const System_ReadAhead&) = delete;
    System_ReadAhead& operator=(const System_ReadAhead&) = delete;
    ~System_ReadAhead();

    /// A directory that the walk will come to, by its name in an open one. Null if there are enough. Valid
    /// until taken.
    Job* offer(Parent parent, const std::string& name);
    /// Tells which come next, in this order. Others are not begun with.
    void setNext(std::span<Job* const> jobs);
    /// Whether the directory has been read; then `into` gets it. Otherwise it will not be.
    bool take(Job* job, System_PreparedFolder& into);

private:
    void run();
    bool mayPrepare() const;
    Job* nextJob();
    void prepare(Job& job, System_FolderBuffer& buffer, std::unique_lock<std::mutex>& lock);
    void waitForThread(std::unique_lock<std::mutex>& lock);
    static void read(Job& job, System_FolderBuffer& buffer);

    AtWork atWork_;
    System_FolderBuffer walkBuffer_{};
    System_FolderBuffer threadBuffer_{};
    std::vector<std::unique_ptr<Job>> jobs_; ///< all, used or not
    std::vector<Job*> unused_;
    std::mutex mutex_; ///< guards what follows, and the state of a job
    std::condition_variable hasWork_;
    std::condition_variable isRead_;
    std::vector<Job*> queue_; ///< the next one is at the back
    std::size_t entries_ = 0; ///< prepared and not taken, in all and of those that come next
    std::size_t entriesNext_ = 0;
    bool isThreadIdle_ = false;
    bool isWalkWaiting_ = false;
    bool isEnding_ = false;
    std::thread thread_;
};
