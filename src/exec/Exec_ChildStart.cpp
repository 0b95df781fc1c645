#include "exec/Exec_ChildStart.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr const char* outOfMemoryScore = "/proc/self/oom_score_adj";
/// As ioprio_set(2) has it, for which there is no header: this process, and the class that follows from its
/// other scheduling.
constexpr int ioPriorityOfProcess = 1;
constexpr int ioPriorityDefault = 0;

rlimit limitOfOpenFiles() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    return limit;
}

/// Taken before main: the agent raises its own later, and programs that use select(2) break with more.
const rlimit openFilesAtStart = limitOfOpenFiles();

void restoreSignals() noexcept {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal)
        sigaction(signal, &standard, nullptr); // refused for a few, which cannot be changed anyway
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

void restoreOutOfMemoryScore() noexcept {
    const int file = open(outOfMemoryScore, O_WRONLY | O_CLOEXEC);
    if (file == -1)
        return;
    static_cast<void>(!write(file, "0", 1));
    close(file);
}

void restoreScheduling() noexcept {
    const sched_param ordinary{};
    sched_setscheduler(0, SCHED_OTHER, &ordinary);
    setpriority(PRIO_PROCESS, 0, 0);
    syscall(SYS_ioprio_set, ioPriorityOfProcess, 0, ioPriorityDefault);
}

} // namespace

Exec_SignalsHeldBack::Exec_SignalsHeldBack() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
}

Exec_SignalsHeldBack::~Exec_SignalsHeldBack() {
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void Exec_LeaveAgentBehind() noexcept {
    setsid();
    restoreOutOfMemoryScore();
    restoreScheduling();
    setrlimit(RLIMIT_NOFILE, &openFilesAtStart);
    restoreSignals();
}
