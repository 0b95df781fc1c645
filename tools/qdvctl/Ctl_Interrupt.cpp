#include "qdvctl/Ctl_Interrupt.h"

#include "qdvctl/Ctl_ProgressLine.h"

#include <initializer_list>
#include <unistd.h>
#include <utility>

namespace {

constexpr int wakeUp = SIGUSR1;

/// As nohup(1) has it; a signal that is waited for would come all the same.
bool isIgnored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

/// Ends the process as the signal would have by itself, which its parent can see.
void dieOf(int signal) {
    std::signal(signal, SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    raise(signal);
}

} // namespace

Ctl_Interrupt::Ctl_Interrupt(std::string message) : message_(std::move(message)) {
    sigemptyset(&signals_);
    sigaddset(&signals_, wakeUp);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        if (!isIgnored(signal))
            sigaddset(&signals_, signal);
    pthread_sigmask(SIG_BLOCK, &signals_, &before_);
    watcher_ = std::thread([this] { watch(); });
}

Ctl_Interrupt::~Ctl_Interrupt() {
    isOver_ = true;
    pthread_kill(watcher_.native_handle(), wakeUp);
    watcher_.join();
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void Ctl_Interrupt::watch() {
    int signal = 0;
    while (sigwait(&signals_, &signal) != 0) {
    }
    if (isOver_)
        return;
    Ctl_ProgressLine::wipe();
    if (isArmed_ && write(STDERR_FILENO, message_.data(), message_.size()) < 0)
        _exit(128 + signal); // the terminal is gone, and nobody is left to tell
    dieOf(signal);
}
