#include "exec/Exec_ChildProcess.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <mutex>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
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

std::mutex leftBehindMutex;
std::vector<pid_t> leftBehind; // children that could not be ended in time; guarded by leftBehindMutex

void leaveBehind(pid_t pid) {
    const std::lock_guard lock(leftBehindMutex);
    leftBehind.push_back(pid);
}

void reapLeftBehind() {
    const std::lock_guard lock(leftBehindMutex);
    std::erase_if(leftBehind, [](pid_t pid) { return waitpid(pid, nullptr, WNOHANG) != 0; });
}

/// Rounded up, so that a wait never wakes just before its end only to wait again.
int pollTimeout(Exec_ChildProcess::Clock::duration left) {
    const auto count = std::chrono::ceil<milliseconds>(left).count();
    return static_cast<int>(std::clamp<decltype(count)>(count, 0, INT_MAX));
}

} // namespace

Exec_ChildProcess::Exec_ChildProcess(pid_t pid, Watch watch) : pid_(pid), started_(Clock::now()) {
    reapLeftBehind();
    // Such descriptors are close-on-exec without being asked.
    if (watch == Watch::Descriptor)
        descriptor_.reset(static_cast<int>(syscall(SYS_pidfd_open, pid, 0U)));
}

Exec_ChildProcess::~Exec_ChildProcess() {
    if (pid_ == 0)
        return;
    endGroup();
    if (wait(File_Descriptor::None, Clock::now() + endingTime) == Wake::Ended) {
        int status = 0;
        reap(status);
    } else {
        leaveBehind(pid_);
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

Exec_ChildProcess::Wake Exec_ChildProcess::wait(int output, Clock::time_point until) {
    for (;;) {
        const Clock::time_point now = Clock::now();
        Clock::duration left = until - now;
        if (!descriptor_)
            left = std::min<Clock::duration>(left, nextPause(now));

        // poll skips entries with a negative descriptor.
        pollfd watched[] = {{descriptor_.get(), POLLIN, 0}, {output, POLLIN, 0}};
        if (descriptor_ || !hasEnded())
            poll(watched, std::size(watched), pollTimeout(left));
        if (watched[0].revents != 0 || (!descriptor_ && hasEnded()))
            return Wake::Ended;
        if (now >= until)
            return Wake::Deadline;
        if (watched[1].revents != 0)
            return Wake::Readable;
    }
}

bool Exec_ChildProcess::reap(int& status) {
    pid_t reaped = -1;
    do
        reaped = waitpid(pid_, &status, 0);
    while (reaped == -1 && errno == EINTR);
    if (reaped == -1 || WIFEXITED(status) || WIFSIGNALED(status))
        pid_ = 0;
    return reaped != -1;
}

void Exec_ChildProcess::endGroup() {
    if (pid_ != 0)
        kill(-pid_, SIGKILL);
}
