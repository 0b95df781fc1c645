#include "threads/Thread_Manager.h"

#include "threads/Thread_Primitives.h"
#include "threads/Thread_Threadable.h"

#include <algorithm>

namespace {

bool startService(Thread_Threadable& service) {
    try {
        return service.start();
    } catch (...) {
        return false;
    }
}

/// True if threads still run. A service that throws has not said that they don't.
bool stillRunsAfterShutdown(Thread_Threadable& service, unsigned attempt, bool lastAttempt) {
    try {
        bool stillRunning = false;
        service.shutdown(stillRunning, attempt, lastAttempt);
        return stillRunning;
    } catch (...) {
        return true;
    }
}

} // namespace

void Thread_Manager::registerThreadable(Thread_Threadable* service) {
    services_.push_back(service);
}

bool Thread_Manager::start() {
    lastStarted_ = NoIndex;
    for (unsigned index = 0; index < services_.size(); ++index) {
        if (services_[index] == nullptr)
            continue;
        if (!startService(*services_[index])) {
            shutdown();
            return false;
        }
        lastStarted_ = index;
    }
    lastStarted_ = NoIndex;
    return true;
}

bool Thread_Manager::shutdown() {
    const auto end = lastStarted_ == NoIndex ? services_.end() : services_.begin() + lastStarted_ + 1;
    std::vector<Thread_Threadable*> unfinished(services_.begin(), end);
    std::erase(unfinished, nullptr);

    bool lastAttempt = attempts_ == 0;
    for (unsigned attempt = 0; !lastAttempt && !unfinished.empty(); ++attempt) {
        lastAttempt = attempt >= attempts_ - 1 && !extension_();
        std::erase_if(unfinished, [&](Thread_Threadable* service) {
            return !stillRunsAfterShutdown(*service, attempt, lastAttempt);
        });
        if (!unfinished.empty())
            Thread_Sleep(wait_);
    }
    return unfinished.empty();
}
