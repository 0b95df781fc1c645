#include "threads/Thread_Pool.h"
#include "threads/Thread_ThreadPoolException.h"
#include "threads/Work.h"

#include <gtest/gtest.h>

#include <mutex>
#include <set>
#include <stdexcept>
#include <vector>

namespace {

/// A pool that is stopped at the end of the test, and the work that it was given.
class Pool : public testing::Test {
protected:
    ~Pool() override {
        stop(pool_);
        EXPECT_EQ(tally_.deleted, tally_.made);
    }

    void start(unsigned threads, unsigned queueLimit, unsigned growth) {
        ASSERT_TRUE(pool_.init(threads, queueLimit, growth));
        ASSERT_TRUE(pool_.start());
    }

    bool give(std::function<void(Work&)> body, bool mayGrow = false) {
        auto work = std::make_unique<Work>(tally_, std::move(body));
        const bool taken = pool_.handleRunnable(work.get(), mayGrow);
        if (taken)
            static_cast<void>(work.release());
        return taken;
    }

    /// Waits until `count` units of work have begun, and says whether no more than that have.
    bool begunExactly(int count) {
        return eventually([&] { return tally_.begun >= count; }) && tally_.begun == count;
    }

    Tally tally_;
    Thread_Pool pool_;
};

} // namespace

TEST_F(Pool, TakesWorkOnlyWhileItRuns) {
    EXPECT_FALSE(give({}));
    EXPECT_TRUE(pool_.init(1, Thread_Pool::Unlimited, 0));
    EXPECT_FALSE(give({}));
    ASSERT_TRUE(pool_.start());
    EXPECT_FALSE(pool_.start());
    EXPECT_FALSE(pool_.init(2, 0, 0));
    EXPECT_FALSE(pool_.handleRunnable(nullptr, false));
    EXPECT_TRUE(give({}));

    bool stillRunning = true;
    EXPECT_TRUE(pool_.shutdown(stillRunning, 0, false));
    EXPECT_FALSE(stillRunning);
    EXPECT_FALSE(pool_.shutdown(stillRunning, 0, false));
    EXPECT_FALSE(give({}));
}

TEST_F(Pool, RunsQueuedWorkInOrderAndSurvivesExceptions) {
    start(1, Thread_Pool::Unlimited, 0);
    std::mutex mutex;
    std::vector<int> order;
    std::set<pthread_t> threads;
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(give([&, i](Work&) {
            const std::lock_guard lock(mutex);
            order.push_back(i);
            threads.insert(pthread_self());
            if (i % 2 == 0)
                throw std::runtime_error("work failed");
            throw int(i);
        }));
    ASSERT_TRUE(eventually([&] { return tally_.deleted == 100; }));
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_EQ(order.size(), 100U);
    EXPECT_EQ(threads.size(), 1U);
}

TEST_F(Pool, QueueLimitOfZeroTakesWorkOnlyForAnIdleThread) {
    start(1, 0, 0);
    for (int round = 0; round < 3; ++round) {
        Gate gate;
        // The thread is idle again a moment after its last work was deleted.
        ASSERT_TRUE(eventually([&] {
            try {
                return give([gate](Work&) { gate.wait(); });
            } catch (const Thread_ThreadPoolException&) {
                return false;
            }
        }));
        try {
            give({});
            ADD_FAILURE() << "a second runnable was taken";
        } catch (const Thread_ThreadPoolException& exception) {
            EXPECT_EQ(exception.getExceptionCode(), 1);
        }
        gate.open();
        ASSERT_TRUE(eventually([&] { return tally_.deleted == tally_.made; }));
    }
    EXPECT_EQ(tally_.begun, 3);
}

TEST_F(Pool, QueueTakesUpToItsLimit) {
    start(1, 2, 0);
    Gate gate;
    ASSERT_TRUE(give([gate](Work&) { gate.wait(); }));
    ASSERT_TRUE(give({}));
    ASSERT_TRUE(give({}));
    EXPECT_THROW(give({}), Thread_ThreadPoolException);
    gate.open();
    EXPECT_TRUE(eventually([&] { return tally_.begun == 3; }));
}

TEST_F(Pool, GrowsOnDemandToItsAllowanceThenQueues) {
    start(5, Thread_Pool::Unlimited, 10);
    Gate gate;
    for (int i = 0; i < 15; ++i)
        ASSERT_TRUE(give([gate](Work&) { gate.wait(); }, true));
    ASSERT_TRUE(give({}, true));
    EXPECT_TRUE(begunExactly(15));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(tally_.begun, 15);
    gate.open();
    EXPECT_TRUE(eventually([&] { return tally_.begun == 16; }));
}

TEST_F(Pool, DoesNotGrowUnasked) {
    start(1, 0, 10);
    Gate gate;
    ASSERT_TRUE(give([gate](Work&) { gate.wait(); }));
    EXPECT_THROW(give({}), Thread_ThreadPoolException);
    EXPECT_TRUE(give({}, true));
    EXPECT_TRUE(begunExactly(2));
    gate.open();
}

/// Growth is no substitute for an idle thread: as long as one is idle none is made.
TEST_F(Pool, GrowsOnlyWhenNoThreadIsIdle) {
    start(5, 0, 10);
    std::mutex mutex;
    std::set<pthread_t> threads;
    for (int i = 1; i <= 20; ++i) {
        ASSERT_TRUE(give(
            [&](Work&) {
                const std::lock_guard lock(mutex);
                threads.insert(pthread_self());
            },
            true));
        ASSERT_TRUE(eventually([&] { return tally_.deleted == i; }));
    }
    EXPECT_LE(threads.size(), 5U);
}

TEST_F(Pool, WithoutThreadsGrowsFromNothing) {
    start(0, 0, 1);
    EXPECT_THROW(give({}), Thread_ThreadPoolException);
    EXPECT_TRUE(give({}, true));
    EXPECT_TRUE(begunExactly(1));
}

TEST_F(Pool, RunsEverythingThatManyProducersGive) {
    constexpr int producers = 4;
    constexpr int each = 2'000;
    start(3, Thread_Pool::Unlimited, 2);
    {
        std::vector<std::jthread> crew;
        crew.reserve(producers);
        for (int i = 0; i < producers; ++i)
            crew.emplace_back([&] {
                for (int round = 0; round < each; ++round)
                    EXPECT_TRUE(give({}, true));
            });
    }
    EXPECT_TRUE(eventually([&] { return tally_.deleted == producers * each; }));
    EXPECT_EQ(tally_.begun, producers * each);
}
