#include "threads/Thread_Semaphore.h"
#include "threads/Work.h"

#include <gtest/gtest.h>

#include <ctime>
#include <memory>
#include <vector>

TEST(Semaphore, RemembersEachReleaseOnce) {
    Thread_Semaphore semaphore;
    timespec before{};
    timespec after{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    ASSERT_EQ(semaphore.grab(1000), Thread_Semaphore::TimedOut);
    clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_GT(after.tv_sec, before.tv_sec) << "the limit counts from the start of the current second";
    ASSERT_TRUE(semaphore.release());
    ASSERT_TRUE(semaphore.release());
    EXPECT_EQ(semaphore.grab(Thread_Semaphore::Forever), Thread_Semaphore::Granted);
    EXPECT_EQ(semaphore.grab(0), Thread_Semaphore::Granted);
    EXPECT_EQ(semaphore.grab(0), Thread_Semaphore::TimedOut);
}

/// Releasers and grabbers at full speed: with exactly as many releases as grabs each grab passes once, and
/// nothing is left. A wake-up that another thread has stolen must wait again instead of passing.
TEST(Semaphore, CountsTrueUnderContention) {
    constexpr int threads = 4;
    constexpr int rounds = 5'000;
    Thread_Semaphore semaphore;
    std::atomic<int> released = 0;
    std::atomic<int> granted = 0;
    std::atomic<bool> overdrawn = false;
    {
        std::vector<std::jthread> crew;
        for (int i = 0; i < threads; ++i) {
            crew.emplace_back([&] {
                for (int round = 0; round < rounds; ++round) {
                    if (semaphore.grab(Thread_Semaphore::Forever) == Thread_Semaphore::Granted &&
                        ++granted > released)
                        overdrawn = true;
                }
            });
            crew.emplace_back([&] {
                for (int round = 0; round < rounds; ++round) {
                    ++released;
                    semaphore.release();
                }
            });
        }
    }
    EXPECT_EQ(granted, threads * rounds);
    EXPECT_FALSE(overdrawn);
    EXPECT_EQ(semaphore.grab(0), Thread_Semaphore::TimedOut);
}

/// The release wakes the sleeper, but the release is gone by the time it gets there: it has to sleep on.
TEST(Semaphore, AStolenReleaseLetsNobodyPass) {
    constexpr int releases = 300;
    Thread_Semaphore semaphore;
    std::atomic<int> passed = 0;
    std::atomic<int> failed = 0;
    int stolen = 0;
    std::jthread sleeper([&](const std::stop_token& stop) {
        while (!stop.stop_requested())
            ++(semaphore.grab(Thread_Semaphore::Forever) == Thread_Semaphore::Granted ? passed : failed);
    });
    for (int i = 0; i < releases; ++i) {
        semaphore.release();
        if (semaphore.grab(0) == Thread_Semaphore::Granted)
            ++stolen;
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    EXPECT_TRUE(eventually([&] { return passed + stolen + failed >= releases; }));
    EXPECT_EQ(passed + stolen, releases);
    EXPECT_EQ(failed, 0);
    sleeper.request_stop();
    semaphore.release();
}

/// For the sanitizers: the releasing thread must be done with the semaphore by the time the grab has
/// returned.
TEST(Semaphore, MayBeDestroyedByWhoeverGrabbedIt) {
    for (int round = 0; round < 500; ++round) {
        auto semaphore = std::make_unique<Thread_Semaphore>();
        std::jthread releaser([borrowed = semaphore.get()] { borrowed->release(); });
        ASSERT_EQ(semaphore->grab(Thread_Semaphore::Forever), Thread_Semaphore::Granted);
        semaphore.reset();
    }
}
