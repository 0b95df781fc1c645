#pragma once

#include "threads/Thread_Pool.h"
#include "threads/Thread_Runnable.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <latch>
#include <memory>
#include <thread>

/// Polls until `condition` holds. False after ten seconds, far beyond what anything here takes.
inline bool eventually(const std::function<bool()>& condition) {
    for (int round = 0; round < 10'000; ++round) {
        if (condition())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

/// What happened to a set of runnables. Outlives them.
struct Tally {
    std::atomic<int> made = 0;
    std::atomic<int> begun = 0;
    std::atomic<int> deleted = 0;
    std::atomic<int> told = 0; ///< to terminate
};

/// Counts in a Tally what becomes of it; run() does what the test says.
class Work : public Thread_Runnable {
public:
    explicit Work(Tally& tally, std::function<void(Work&)> body = {})
        : tally_(tally), body_(std::move(body)) {
        ++tally_.made;
    }
    ~Work() override { ++tally_.deleted; }

    void run() override {
        ++tally_.begun;
        if (body_)
            body_(*this);
    }
    bool setToTerminate() override {
        ++tally_.told;
        return Thread_Runnable::setToTerminate();
    }

private:
    Tally& tally_;
    std::function<void(Work&)> body_;
};

/// Holds whoever waits until it is opened. Copies are one gate, so that a thread that wakes late still finds
/// it.
class Gate {
public:
    void open() const { latch_->count_down(); }
    void wait() const { latch_->wait(); }

private:
    std::shared_ptr<std::latch> latch_ = std::make_shared<std::latch>(1);
};

inline bool give(Thread_Pool& pool, Tally& tally, std::function<void(Work&)> body = {},
                 bool mayGrow = false) {
    return pool.handleRunnable(std::make_unique<Work>(tally, std::move(body)), mayGrow);
}

/// Asks a pool, or what stands over one, to stop until it has.
template <typename Pool>
void stop(Pool& pool) {
    bool stillRunning = true;
    unsigned attempt = 0;
    EXPECT_TRUE(eventually([&] {
        pool.shutdown(stillRunning, attempt++, false);
        return !stillRunning;
    }));
}
