#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

/// Ends the process, with a message and the status of what was not answered, if its owner lives longer than
/// the limit; nothing that the process waits in can hold it: neither a name server nor a peer that sends a
/// byte now and then.
class Ctl_Deadline {
public:
    Ctl_Deadline(std::chrono::seconds limit, std::string message);
    Ctl_Deadline(const Ctl_Deadline&) = delete;
    Ctl_Deadline& operator=(const Ctl_Deadline&) = delete;
    ~Ctl_Deadline();

    /// Counts anew from now on.
    void restart(std::chrono::seconds limit, std::string message);

private:
    void watch();

    std::mutex mutex_; ///< of all that follows
    std::condition_variable changed_;
    std::chrono::steady_clock::time_point end_;
    std::string message_;
    bool over_ = false;
    std::thread watcher_;
};
