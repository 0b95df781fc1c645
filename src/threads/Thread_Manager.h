#pragma once

#include <climits>
#include <functional>
#include <utility>
#include <vector>

class Thread_Threadable;

/// Starts services in the order of their registration and stops them in the same order, in bounded time.
///
/// The services are borrowed and outlive the manager. Not thread-safe: one thread registers, starts and
/// stops.
class Thread_Manager {
public:
    /// Seconds between two attempts to shut down; 1 at first.
    unsigned getWait() const { return wait_; }
    void setWait(unsigned seconds) { wait_ = seconds; }
    /// How often shutdown asks; 5 at first.
    unsigned getAttempts() const { return attempts_; }
    void setAttempts(unsigned attempts) { attempts_ = attempts; }

    /// Asked when the attempts are used up: true allows another one, since what holds a thread is about to
    /// end.
    void setExtension(std::function<bool()> extension) { extension_ = std::move(extension); }

    /// Null is allowed and passed over.
    void registerThreadable(Thread_Threadable* service);
    /// True if every service runs. The first one that fails, or throws, ends it: the services that had been
    /// started are shut down, the rest is not started.
    bool start();
    /// True once no service has a thread running; false if some still had after the last attempt.
    bool shutdown();

private:
    static constexpr unsigned NoIndex = UINT_MAX;

    unsigned wait_ = 1;
    unsigned attempts_ = 5;
    std::function<bool()> extension_ = [] { return false; };
    /// Last service started; NoIndex for none or all.
    unsigned lastStarted_ = NoIndex;
    std::vector<Thread_Threadable*> services_;
};
