#include "threads/Thread_Pool.h"
#include "threads/Work.h"

#include <memory>
#include <vector>

namespace {

/// Sleeps until told to terminate, as long work should.
void heed(Work& work) {
    work.waitForSemaphore(Thread_Semaphore::Forever);
}

std::unique_ptr<Thread_Pool> startedPool(unsigned threads) {
    auto pool = std::make_unique<Thread_Pool>();
    EXPECT_TRUE(pool->init(threads, Thread_Pool::Unlimited, 0));
    EXPECT_TRUE(pool->start());
    return pool;
}

} // namespace

/// Whatever the work does when it is told.
TEST(PoolShutdown, DropsWhatWaitsAndTellsWhatRuns) {
    struct Thrower : Work {
        using Work::Work;
        bool setToTerminate() override {
            Work::setToTerminate();
            throw 1;
        }
    };
    Tally running;
    Tally waiting;
    const auto pool = startedPool(2);
    for (int i = 0; i < 2; ++i)
        ASSERT_TRUE(pool->handleRunnable(std::make_unique<Thrower>(running, heed), false));
    ASSERT_TRUE(eventually([&] { return running.begun == 2; }));
    for (int i = 0; i < 10; ++i)
        ASSERT_TRUE(give(*pool, waiting));
    stop(*pool);
    EXPECT_EQ(running.deleted, 2);
    EXPECT_EQ(waiting.deleted, 10);
    EXPECT_EQ(waiting.begun + waiting.told, 0);
}

/// Work that heeds at once mostly ends within the first attempt; on a busy machine not each time.
TEST(PoolShutdown, IdleAndHeedingThreadsCostNoSecondAttempt) {
    int late = 0;
    for (int round = 0; round < 50; ++round) {
        Tally tally;
        const auto pool = startedPool(3);
        for (int i = 0; i < round % 4; ++i)
            ASSERT_TRUE(give(*pool, tally, heed));
        ASSERT_TRUE(eventually([&] { return tally.begun == tally.made; }));
        bool stillRunning = true;
        EXPECT_TRUE(pool->shutdown(stillRunning, 0, false));
        EXPECT_FALSE(stillRunning && tally.made == 0);
        late += stillRunning ? 1 : 0;
        stop(*pool);
        EXPECT_EQ(tally.deleted, tally.made);
    }
    EXPECT_LT(late, 37) << "not one of those that had work";
}

/// For the sanitizers: the pool is gone by the time its thread comes back, and nothing may leak or be
/// touched.
TEST(PoolShutdown, AbandonedThreadOutlivesItsPool) {
    Tally tally;
    Gate gate;
    auto pool = startedPool(2);
    ASSERT_TRUE(give(*pool, tally, [gate](Work&) { gate.wait(); }));
    ASSERT_TRUE(eventually([&] { return tally.begun == 1; }));
    bool stillRunning = false;
    EXPECT_TRUE(pool->shutdown(stillRunning, 0, false));
    EXPECT_TRUE(stillRunning);
    EXPECT_FALSE(pool->start()) << "a pool that is shutting down must not start";
    EXPECT_FALSE(give(*pool, tally));
    EXPECT_TRUE(pool->shutdown(stillRunning, 1, true));
    EXPECT_TRUE(stillRunning);

    // Stopped all the same: it may start anew while the old thread is still away.
    ASSERT_TRUE(pool->start());
    ASSERT_TRUE(give(*pool, tally));
    ASSERT_TRUE(eventually([&] { return tally.deleted == 2; }));
    pool.reset();
    gate.open();
    EXPECT_TRUE(eventually([&] { return tally.deleted == 3; }));
}

/// A thread may be anywhere between its work and its next when the only attempt comes: if it is not at work
/// it is joined, never left behind.
TEST(PoolShutdown, SingleAttemptLosesNothing) {
    for (int round = 0; round < 300; ++round) {
        Tally tally;
        auto pool = startedPool(2);
        for (int i = 0; i < 4; ++i)
            ASSERT_TRUE(give(*pool, tally));
        if (round % 3 != 0)
            eventually([&] { return tally.begun >= round % 4; });
        bool stillRunning = true;
        ASSERT_TRUE(pool->shutdown(stillRunning, 0, true));
        EXPECT_TRUE(stillRunning || tally.deleted == 4);
        pool.reset();
        ASSERT_TRUE(eventually([&] { return tally.deleted == 4; }));
    }
}

/// Work that was handed to a thread and has not begun never begins: otherwise the stop would wait for it.
TEST(PoolShutdown, WorkHandedOverInTheLastMomentHoldsNothingUp) {
    Tally tally;
    for (int round = 0; round < 100; ++round) {
        Gate gate;
        auto pool = startedPool(1);
        ASSERT_TRUE(give(*pool, tally, [gate](Work&) { gate.wait(); }));
        bool stillRunning = false;
        ASSERT_TRUE(pool->shutdown(stillRunning, 0, true));
        pool.reset();
        gate.open();
        ASSERT_TRUE(eventually([&] { return tally.deleted == tally.made; }));
    }
}

/// Producers go on handing over while the pool is stopped from two sides and started again: whatever was
/// taken is deleted by the pool, whatever was not stays with its producer.
TEST(PoolShutdown, UnderLoadAndRestartLosesNothing) {
    constexpr int cycles = 20;
    Tally tally;
    auto pool = startedPool(3);
    std::atomic<bool> done = false;
    std::atomic<int> refused = 0;
    {
        std::vector<std::jthread> producers;
        producers.reserve(3);
        for (int i = 0; i < 3; ++i)
            producers.emplace_back([&] {
                while (!done) {
                    if (!give(*pool, tally))
                        ++refused;
                    if (tally.made % 64 == 0)
                        std::this_thread::yield();
                }
            });
        const auto stopIt = [&] { stop(*pool); };
        for (int cycle = 0; cycle < cycles; ++cycle) {
            const int before = tally.begun;
            EXPECT_TRUE(eventually([&] { return tally.begun > before; }));
            {
                std::jthread other(stopIt);
                stopIt();
            }
            const int refusedBefore = refused;
            EXPECT_TRUE(eventually([&] { return refused > refusedBefore; }));
            EXPECT_TRUE(pool->start());
        }
        done = true;
    }
    pool.reset();
    EXPECT_EQ(tally.deleted, tally.made);
    EXPECT_GT(tally.begun, cycles);
}
