#pragma once

#include "qdvctl/Ctl_Envelope.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// How far a search has come, as the agent has told so far.
struct Ctl_SearchProgress {
    std::uint64_t files = 0; ///< looked at, in all volumes together
    std::uint64_t folders = 0;
    bool isReported = false; ///< whether anything was told
    std::chrono::steady_clock::time_point heard = std::chrono::steady_clock::now();
};

/// What the agent tells its server of one search. Thread-safe.
class Ctl_SearchReports {
public:
    /// The volumes have the numbers 1 to `volumes` in the agent's calls.
    Ctl_SearchReports(std::string token, std::size_t volumes);

    /// Calls that are about something else are passed over.
    void take(const Ctl_Request& call);
    /// The summary; none if the time is over before it has come.
    std::optional<std::vector<Ctl_Node>> waitForSummary(std::chrono::milliseconds time);
    Ctl_SearchProgress progress() const;
    /// How the walk of a volume ended in the agent's words, "OK" if it did well; empty if that was not told.
    std::string status(std::size_t volume) const;

private:
    struct Volume {
        std::uint64_t files = 0;
        std::uint64_t folders = 0;
        std::string status;
    };

    void takeProgress(const Ctl_Node& progress);

    const std::string token_;  ///< as the agent's calls name it
    mutable std::mutex mutex_; ///< of all that follows
    std::condition_variable arrived_;
    std::vector<Volume> volumes_;
    std::optional<std::vector<Ctl_Node>> summary_;
    bool isReported_ = false;
    std::chrono::steady_clock::time_point heard_ = std::chrono::steady_clock::now();
};
