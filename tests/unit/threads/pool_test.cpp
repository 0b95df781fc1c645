#include "threads/Thread_Pool.h"
#include "threads/Thread_ThreadPoolException.h"
#include "threads/Work.h"

#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <vector>

namespace {

/// A pool that is stopped at the end of the test, and the work that it was given.
class Pool : public testing::Test {
protected:
    ~Pool() override {
        if (pool_)
            stop(*pool_);
        EXPECT_EQ(tally_.deleted, tally_.made);
    }

    void start(unsigned threads, unsigned queueLimit, unsigned growth) {
        if (pool_)
            stop(*pool_);
        pool_.emplace();
        ASSERT_TRUE(pool_->init(threads, queueLimit, growth));
        ASSERT_TRUE(pool_->start());
    }

    bool give(std::function<void(Work&)> body, bool mayGrow = false) {
        return ::give(*pool_, tally_, std::move(body), mayGrow);
    }

    /// Whether there was room for it.
    bool fits(std::function<void(Work&)> body, bool mayGrow) {
        try {
            EXPECT_TRUE(give(std::move(body), mayGrow));
            return true;
        } catch (const Thread_ThreadPoolException& exception) {
            EXPECT_EQ(exception.getExceptionCode(), 1);
            return false;
        }
    }

    bool allIsDone() {
        return eventually([&] { return tally_.deleted == tally_.made; });
    }

    Tally tally_;
    std::optional<Thread_Pool> pool_;
};

} // namespace

TEST_F(Pool, TakesWorkOnlyWhileItRuns) {
    pool_.emplace();
    EXPECT_FALSE(give({}));
    EXPECT_TRUE(pool_->init(1, Thread_Pool::Unlimited, 0));
    EXPECT_FALSE(give({}));
    ASSERT_TRUE(pool_->start());
    EXPECT_FALSE(pool_->start());
    EXPECT_FALSE(pool_->init(2, 0, 0));
    EXPECT_FALSE(pool_->handleRunnable(nullptr, false));
    EXPECT_TRUE(give({}));
    EXPECT_TRUE(allIsDone());

    bool stillRunning = true;
    EXPECT_TRUE(pool_->shutdown(stillRunning, 0, false));
    EXPECT_FALSE(stillRunning);
    EXPECT_FALSE(pool_->shutdown(stillRunning, 0, false));
    EXPECT_FALSE(give({}));
    pool_.reset();
}

TEST_F(Pool, RunsQueuedWorkInOrderAndSurvivesExceptions) {
    start(1, Thread_Pool::Unlimited, 0);
    std::vector<int> order;
    std::set<pthread_t> threads;
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(give([&, i](Work&) {
            order.push_back(i);
            threads.insert(pthread_self());
            if (i % 2 == 0)
                throw std::runtime_error("work failed");
            throw int(i);
        }));
    ASSERT_TRUE(allIsDone());
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_EQ(order.size(), 100U);
    EXPECT_EQ(threads.size(), 1U);
}

TEST_F(Pool, HoldsWhatItsThreadsItsGrowthAndItsQueueHold) {
    const struct {
        unsigned threads;
        unsigned queueLimit;
        unsigned growth;
        bool mayGrow;
        int begun;
        int taken;
    } cases[] = {{1, 0, 0, false, 1, 1}, {1, 0, 10, false, 1, 1}, {1, 2, 0, true, 1, 3},
                 {0, 0, 1, false, 0, 0}, {0, 0, 1, true, 1, 1},   {5, 3, 10, true, 15, 18}};
    for (const auto& each : cases) {
        SCOPED_TRACE(testing::Message() << each.threads << ' ' << each.queueLimit << ' ' << each.growth);
        start(each.threads, each.queueLimit, each.growth);
        Gate gate;
        const int before = tally_.begun;
        int taken = 0;
        while (fits([gate](Work&) { gate.wait(); }, each.mayGrow))
            ++taken;
        EXPECT_EQ(taken, each.taken);
        EXPECT_TRUE(eventually([&] { return tally_.begun >= before + each.begun; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_EQ(tally_.begun, before + each.begun);
        gate.open();
        EXPECT_TRUE(allIsDone());
        EXPECT_EQ(tally_.begun, before + each.taken);
        // A thread is idle again a moment after its last work was deleted.
        EXPECT_TRUE(each.taken == 0 || eventually([&] { return fits({}, false); }));
    }
}

/// Growth is no substitute for an idle thread.
TEST_F(Pool, DoesNotGrowEachTimeThatItMay) {
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
        ASSERT_TRUE(allIsDone());
    }
    EXPECT_LT(threads.size(), 10U);
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
    EXPECT_TRUE(allIsDone());
    EXPECT_EQ(tally_.begun, producers * each);
}
