#include "exec/Exec_ChildProcess.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <mutex>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using std::chrono::milliseconds;

/// How long an ended child gets to disappear before it is left to be reaped later.
constexpr milliseconds endingTime{2000};

/// Without pidfd_open the child is looked at after this part of the time it has run so far, within the
/// limits.
constexpr int pollingShare = 8;
constexpr milliseconds shortestPause{1};
constexpr milliseconds longestPause{50};

/// Every child of the process that has not been reaped.
class Children {
public:
    /// A child that there is no memory to keep in mind is ended, and this throws.
    void add(pid_t pid) {
        const std::lock_guard lock(mutex_);
        std::erase_if(children_, [](const Child& child) {
            return child.isLeftBehind && waitpid(child.pid, nullptr, WNOHANG) != 0;
        });
        try {
            children_.push_back({pid});
        } catch (...) {
            end(pid);
            waitpid(pid, nullptr, 0);
            throw;
        }
        if (ending_)
            end(pid);
    }

    /// Under the lock, so that no number is killed that has been given to another process meanwhile.
    pid_t reap(pid_t pid, int& status) {
        const std::lock_guard lock(mutex_);
        const pid_t reaped = waitpid(pid, &status, WNOHANG);
        if (reaped != 0)
            std::erase_if(children_, [pid](const Child& child) { return child.pid == pid; });
        return reaped;
    }

    /// Takes no memory.
    void leaveBehind(pid_t pid) {
        const std::lock_guard lock(mutex_);
        for (Child& child : children_)
            child.isLeftBehind = child.isLeftBehind || child.pid == pid;
    }

    void endAll() {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        const std::uint64_t one = 1;
        static_cast<void>(!write(wakeUp_.get(), &one, sizeof one));
        for (const Child& child : children_)
            end(child.pid);
    }

    bool areEnding() const { return ending_; }
    /// Can be read, for good, once all are to end.
    int wakeUp() const { return wakeUp_.get(); }

    /// A child that has just been started may not lead its group yet.
    static void end(pid_t pid) {
        kill(pid, SIGKILL);
        kill(-pid, SIGKILL);
    }

private:
    struct Child {
        pid_t pid;
        bool isLeftBehind = false; ///< could not be ended in time
    };

    std::mutex mutex_;
    std::vector<Child> children_; // guarded by mutex_
    std::atomic<bool> ending_ = false;
    File_Descriptor wakeUp_{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
};

Children children;

/// Rounded up, so that a wait never wakes just before its end only to wait again.
int pollTimeout(Exec_ChildProcess::Clock::duration left) {
    const auto count = std::chrono::ceil<milliseconds>(left).count();
    return static_cast<int>(std::clamp<decltype(count)>(count, 0, INT_MAX));
}

} // namespace

Exec_ChildProcess::Exec_ChildProcess(pid_t pid, Watch watch) : pid_(pid), started_(Clock::now()) {
    children.add(pid);
    // Such descriptors are close-on-exec without being asked.
    if (watch == Watch::Descriptor)
        descriptor_.reset(static_cast<int>(syscall(SYS_pidfd_open, pid, 0U)));
}

Exec_ChildProcess::~Exec_ChildProcess() {
    if (pid_ == 0)
        return;
    endGroup();
    if (waitFor(File_Descriptor::None, File_Descriptor::None, Clock::now() + endingTime) == Wake::Ended) {
        int status = 0;
        reap(status);
    } else {
        children.leaveBehind(pid_);
    }
}

bool Exec_ChildProcess::hasEnded() const {
    siginfo_t info{};
    // A child that is no longer there to be asked about has ended as well.
    return waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
           info.si_pid != 0;
}

milliseconds Exec_ChildProcess::nextPause(Clock::time_point now) const {
    const auto share = std::chrono::duration_cast<milliseconds>((now - started_) / pollingShare);
    return std::clamp(share, shortestPause, longestPause);
}

void Exec_ChildProcess::endAll() {
    children.endAll();
}

bool Exec_ChildProcess::areAllEnding() {
    return children.areEnding();
}

Exec_ChildProcess::Wake Exec_ChildProcess::wait(int output, Clock::time_point until) {
    return waitFor(output, children.wakeUp(), until);
}

Exec_ChildProcess::Wake Exec_ChildProcess::waitFor(int output, int stopSignal, Clock::time_point until) {
    for (;;) {
        const Clock::time_point now = Clock::now();
        Clock::duration left = until - now;
        if (!descriptor_)
            left = std::min<Clock::duration>(left, nextPause(now));

        // poll skips entries with a negative descriptor.
        pollfd watched[] = {{descriptor_.get(), POLLIN, 0}, {output, POLLIN, 0}, {stopSignal, POLLIN, 0}};
        if (descriptor_ || !hasEnded())
            poll(watched, std::size(watched), pollTimeout(left));
        if (watched[0].revents != 0 || (!descriptor_ && hasEnded()))
            return Wake::Ended;
        if (watched[2].revents != 0)
            return Wake::Stopping;
        if (now >= until)
            return Wake::Deadline;
        if (watched[1].revents != 0)
            return Wake::Readable;
    }
}

bool Exec_ChildProcess::reap(int& status) {
    siginfo_t ignored{};
    while (waitid(P_PID, static_cast<id_t>(pid_), &ignored, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
    return children.reap(std::exchange(pid_, 0), status) != -1;
}

void Exec_ChildProcess::endGroup() const {
    if (pid_ != 0)
        Children::end(pid_);
}
