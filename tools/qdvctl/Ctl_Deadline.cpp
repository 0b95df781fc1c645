#include "qdvctl/Ctl_Deadline.h"

#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Text.h"

#include <cstdio>
#include <unistd.h>
#include <utility>

Ctl_Deadline::Ctl_Deadline(std::chrono::seconds limit, std::string message) {
    restart(limit, std::move(message));
    watcher_ = std::thread([this] { watch(); });
}

Ctl_Deadline::~Ctl_Deadline() {
    {
        const std::lock_guard lock(mutex_);
        // Whatever failed after the end, such as a read with the same limit, failed because of it.
        over_ = std::chrono::steady_clock::now() < end_;
    }
    changed_.notify_one();
    watcher_.join();
}

void Ctl_Deadline::restart(std::chrono::seconds limit, std::string message) {
    const std::lock_guard lock(mutex_);
    end_ = std::chrono::steady_clock::now() + limit;
    message_ = std::move(message);
    changed_.notify_one();
}

void Ctl_Deadline::watch() {
    std::unique_lock lock(mutex_);
    while (!over_ && std::chrono::steady_clock::now() < end_)
        changed_.wait_until(lock, end_);
    if (over_)
        return;
    std::fflush(stdout);
    Ctl_Say(message_);
    _exit(Ctl_Unanswered);
}
