#include "base/Temporary_Directory.h"
#include "log/Debug_Printf.h"
#include "threads/Thread_Failure.h"
#include "threads/Thread_ThreadHandleTracker.h"
#include "threads/Work.h"

#include <cerrno>
#include <set>
#include <string>
#include <vector>

TEST(Primitives, LogErrorCodesByTheirReasonOrTheirNumber) {
    const struct {
        int code;
        const char* function;
        const char* action;
        const char* reason;
    } cases[] = {
        {EDEADLK, "Thread_LockMutex", "lock mutex",
         "the mutex type is PTHREAD_MUTEX_ERRORCHECK and an attempt was made to relock the mutex"},
        {EPERM, "Thread_UnLockMutex", "unlock mutex", "the calling thread does not own the mutex"},
        {EINVAL, "Thread_CreateThread", "create thread",
         "attr is not an initialized thread attribute object"},
        {99, "Thread_CreateThread", "create thread", "unknown error 99"},
        {99, "Thread_LockMutex", "lock mutex", "unknown error: errno= 7, result=99"},
        {99, "Thread_UnLockMutex", "unlock mutex", "unknown error: errno = 7, result=99"},
    };
    const Temporary_Directory directory;
    const std::string log = directory / "log";
    const std::string stamp = "YYYY-MM-DD hh:mm:ss: ";
    for (const auto& each : cases) {
        ASSERT_TRUE(gDebugPrintf.logfile_open(log.c_str()));
        errno = 7;
        EXPECT_FALSE(Thread_Succeeded(each.code, each.function, each.action));
        EXPECT_EQ(contentsOf(log).substr(stamp.size()), std::string("THREAD: ") + each.function +
                                                            ": failed to " + each.action + ": " +
                                                            each.reason + "\n");
    }
    gDebugPrintf.logfile_close();
}

TEST(Primitives, ThreadsHaveLastingIdsOfTheirOwn) {
    constexpr int count = 8;
    struct Seat {
        pthread_t handle{};
        int told = -1;
        int seen = -2;
        Gate* gate = nullptr;
    };
    Gate gate;
    std::vector<Seat> seats(count);
    for (Seat& seat : seats) {
        seat.gate = &gate;
        const auto entry = [](void* argument) -> void* {
            auto& mine = *static_cast<Seat*>(argument);
            mine.seen = Thread_GetThreadId();
            mine.gate->wait();
            return nullptr;
        };
        ASSERT_TRUE(Thread_CreateThread(&seat.handle, entry, &seat, seat.told));
    }
    gate.open();
    std::set<int> ids{Thread_GetThreadId()};
    for (Seat& seat : seats) {
        ASSERT_TRUE(Thread_WaitForExit(&seat.handle));
        EXPECT_EQ(seat.seen, seat.told);
        EXPECT_EQ(gThreadHandleTracker.manageNewHandle(seat.handle), seat.told);
        ids.insert(seat.told);
    }
    EXPECT_EQ(ids.size(), count + 1U);
}

TEST(Terminatable, RunsOnceAndIsFreshAfterTheEnd) {
    Tally tally;
    Work work(tally);
    bool flag = true;
    EXPECT_FALSE(work.endRunning());
    EXPECT_TRUE(work.startRunning());
    EXPECT_FALSE(work.startRunning());
    EXPECT_TRUE(work.setToTerminate());
    EXPECT_TRUE(work.isRunning(flag) && flag);
    EXPECT_TRUE(work.isTerminateSet(flag) && flag);
    EXPECT_TRUE(work.endRunning());
    EXPECT_TRUE(work.isRunning(flag) && !flag);
    EXPECT_TRUE(work.isTerminateSet(flag) && !flag);

    EXPECT_TRUE(work.setToTerminate());
    EXPECT_FALSE(work.startRunning());
    EXPECT_FALSE(work.endRunning());
    EXPECT_TRUE(work.isTerminateSet(flag) && flag);
}

TEST(Threadable, StatesDecideWhatIsWrong) {
    Thread_Pool service;
    const auto expectWrong = [&](bool start, bool work, bool shutdown) {
        EXPECT_EQ(service.checkForErrorBeforeStart(true, true), start);
        EXPECT_EQ(service.checkForErrorAtStart(true, true), start);
        EXPECT_EQ(service.checkForExitWhileRunning(true, true), work);
        EXPECT_EQ(service.checkForErrorAtShutdown(true, true), shutdown);
    };
    expectWrong(false, true, true);
    EXPECT_TRUE(service.setAsRunning(true, true));
    expectWrong(true, false, false);
    EXPECT_EQ(service.waitForSemaphore(0), Thread_Semaphore::TimedOut);
    EXPECT_TRUE(service.setAsShuttingdown(true, true));
    EXPECT_EQ(service.waitForSemaphore(0), Thread_Semaphore::Granted);
    expectWrong(true, true, false);
    EXPECT_TRUE(service.setAsShutdown(true, true));
    expectWrong(false, true, true);
}

TEST(Threadable, ACheckThatLocksOpensACriticalSection) {
    Thread_Pool service;
    std::atomic<bool> entered = false;
    ASSERT_FALSE(service.checkForErrorAtStart(true, false));
    std::jthread other([&] {
        service.setAsRunning(true, true);
        entered = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(entered);
    EXPECT_TRUE(service.unlockMutex());
    EXPECT_TRUE(eventually([&] { return entered.load(); }));
}
