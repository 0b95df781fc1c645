#include "host/Host_Patience.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

enum class State { Busy, Stuck };

/// The subjects that are being worked on. Shared with the threads, which may outlive everything else.
struct Registry {
    std::mutex mutex;
    std::condition_variable changed;
    std::map<std::string, State> subjects; // guarded by mutex
};

std::shared_ptr<Registry> registry() {
    static const auto instance = std::make_shared<Registry>();
    return instance;
}

/// Takes the subject's turn. False if it is stuck or not free in time.
bool takeTurn(Registry& registry, std::unique_lock<std::mutex>& lock, const std::string& subject,
              Clock::time_point until) {
    const auto isBusy = [&] {
        const auto found = registry.subjects.find(subject);
        return found != registry.subjects.end() && found->second == State::Busy;
    };
    if (!registry.changed.wait_until(lock, until, [&] { return !isBusy(); }))
        return false;
    return registry.subjects.try_emplace(subject, State::Busy).second;
}

} // namespace

bool Host_DoWithin(std::chrono::milliseconds limit, const std::string& subject, std::function<void()> work) {
    const Clock::time_point until = Clock::now() + limit;
    const std::shared_ptr<Registry> shared = registry();
    const auto done = std::make_shared<bool>(false); // guarded by the registry's mutex

    std::unique_lock lock(shared->mutex);
    if (!takeTurn(*shared, lock, subject, until))
        return false;
    try {
        std::thread([shared, done, subject, work = std::move(work)]() mutable {
            try {
                work();
            } catch (...) { // mostly a lack of memory; there is no answer then
            }
            work = nullptr; // what it holds may take long to close
            const std::lock_guard guard(shared->mutex);
            *done = true;
            shared->subjects.erase(subject);
            shared->changed.notify_all();
        }).detach();
    } catch (const std::system_error&) {
        shared->subjects.erase(subject);
        shared->changed.notify_all();
        return false;
    }
    if (shared->changed.wait_until(lock, until, [&] { return *done; }))
        return true;
    shared->subjects[subject] = State::Stuck;
    shared->changed.notify_all();
    return false;
}
