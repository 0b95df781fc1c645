#include "host/Host_Patience.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

/// How long a thread that is done waits for more: audits ask thousands of short questions in a row.
constexpr std::chrono::seconds lingering{1};
/// Far more than are ever busy at once: the rest is for those that are stuck.
constexpr std::size_t mostThreads = 256;

enum class State { Busy, Stuck };

struct Job {
    std::string subject;
    std::function<void()> work;
    std::shared_ptr<bool> done; // guarded by the registry's mutex
};

/// Shared with the threads, which may outlive everything else. All of it is guarded by the mutex.
struct Registry {
    std::mutex mutex;
    std::condition_variable changed; ///< a subject has become free or stuck
    std::condition_variable offered;
    std::map<std::string, State> subjects;
    std::deque<Job> offers;      ///< taken by idle threads, of which there are never fewer
    std::size_t idleThreads = 0; ///< threads that wait for an offer
    std::size_t threads = 0;     ///< in all
};

std::shared_ptr<Registry> registry() {
    static const auto instance = std::make_shared<Registry>();
    return instance;
}

/// The life of a thread.
void serve(Registry& registry, Job job) {
    std::unique_lock lock(registry.mutex, std::defer_lock);
    for (;;) {
        try {
            job.work();
        } catch (...) { // mostly a lack of memory; there is no answer then
        }
        job.work = nullptr; // what it holds may take long to close
        lock.lock();
        *job.done = true;
        registry.subjects.erase(job.subject);
        registry.changed.notify_all();

        ++registry.idleThreads;
        const bool goesOn =
            registry.offered.wait_for(lock, lingering, [&] { return !registry.offers.empty(); });
        --registry.idleThreads;
        if (!goesOn) {
            --registry.threads;
            return;
        }
        job = std::move(registry.offers.front());
        registry.offers.pop_front();
        lock.unlock();
    }
}

/// Has a thread do the job, with the lock held. False if there is none to be had.
bool start(const std::shared_ptr<Registry>& registry, Job job) {
    try {
        if (registry->idleThreads > registry->offers.size()) {
            registry->offers.push_back(std::move(job));
            registry->offered.notify_one();
        } else if (registry->threads == mostThreads) {
            return false;
        } else {
            std::thread([registry, job = std::move(job)]() mutable {
                serve(*registry, std::move(job));
            }).detach();
            ++registry->threads;
        }
        return true;
    } catch (...) { // neither memory nor threads are without end
        return false;
    }
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
    const auto done = std::make_shared<bool>(false);
    // Made before the turn is taken: it would be held for good if there were no memory for the job.
    Job job{subject, std::move(work), done};

    std::unique_lock lock(shared->mutex);
    if (!takeTurn(*shared, lock, subject, until))
        return false;
    const bool started = start(shared, std::move(job));
    if (started && shared->changed.wait_until(lock, until, [&] { return *done; }))
        return true;
    if (started)
        shared->subjects[subject] = State::Stuck;
    else
        shared->subjects.erase(subject);
    shared->changed.notify_all();
    return false;
}
