#include "log/Debug_Printf.h"
#include "threads/MutexLock.h"
#include "threads/Thread_Failure.h"
#include "threads/Thread_Runnable.h"
#include "threads/Thread_ThreadHandleTracker.h"
#include "threads/Thread_Threadable.h"
#include "threads/Work.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

/// Collects what is logged while it lives.
class LogCapture {
public:
    LogCapture() {
        const int descriptor = mkstemp(path_);
        EXPECT_GE(descriptor, 0);
        close(descriptor);
        EXPECT_TRUE(gDebugPrintf.logfile_open(path_));
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    ~LogCapture() {
        gDebugPrintf.logfile_close();
        unlink(path_);
    }

    /// The messages since the last call, without their stamps.
    std::string messages() {
        std::string text;
        for (std::string line; std::getline(file(), line);)
            text += line.substr(line.find(": ") + 2) + "\n";
        file().clear();
        return text;
    }

private:
    std::ifstream& file() {
        if (!file_.is_open())
            file_.open(path_);
        return file_;
    }

    char path_[32] = "/tmp/qdv_threads_XXXXXX";
    std::ifstream file_;
};

/// A mutex that reports misuse instead of hanging.
struct CheckedMutex {
    CheckedMutex() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
        pthread_mutex_init(&mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    ~CheckedMutex() { pthread_mutex_destroy(&mutex); }
    pthread_mutex_t mutex;
};

/// A service whose protected parts don't matter here.
class Service : public Thread_Threadable {
public:
    bool start() override { return true; }
    bool shutdown(bool&, unsigned, bool) override { return true; }
};

} // namespace

TEST(Primitives, RefuseNullAndSayWhat) {
    LogCapture log;
    int id = 0;
    EXPECT_FALSE(Thread_CreateMutex(nullptr));
    EXPECT_FALSE(Thread_DestroyMutex(nullptr));
    EXPECT_FALSE(Thread_LockMutex(nullptr));
    EXPECT_FALSE(Thread_UnLockMutex(nullptr));
    EXPECT_FALSE(Thread_CreateSemaphore(nullptr));
    EXPECT_FALSE(Thread_DestroySemaphore(nullptr));
    EXPECT_EQ(Thread_GrabSemaphore(nullptr, 0), 2);
    EXPECT_FALSE(Thread_ReleaseSemaphore(nullptr));
    EXPECT_FALSE(Thread_CreateThread(nullptr, nullptr, nullptr, id));
    EXPECT_FALSE(Thread_WaitForExit(nullptr));
    EXPECT_EQ(id, -1);
    EXPECT_EQ(log.messages(), "THREAD: Thread_CreateMutex: mutex is NULL\n"
                              "THREAD: Thread_DestroyMutex: mutex is NULL\n"
                              "THREAD: Thread_LockMutex: mutex is NULL\n"
                              "THREAD: Thread_UnLockMutex: mutex is NULL\n"
                              "THREAD: Thread_CreateSemaphore: semaphore is NULL\n"
                              "THREAD: Thread_DestroySemaphore: semaphore is NULL\n"
                              "THREAD: Thread_GrabSemaphore: semaphore is NULL\n"
                              "THREAD: Thread_ReleaseSemaphore: semaphore is NULL\n"
                              "THREAD: Thread_CreateThread: thread is NULL\n"
                              "THREAD: Thread_WaitForExit: thread is NULL\n");
}

TEST(Primitives, LogTheReasonOfAFailedCall) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "ThreadSanitizer reports the misuse that this test is about";
#endif
    LogCapture log;
    CheckedMutex checked;
    const pthread_t self = pthread_self();
    EXPECT_FALSE(Thread_UnLockMutex(&checked.mutex));
    {
        const MutexLock outer(&checked.mutex);
        const MutexLock inner(&checked.mutex);
        EXPECT_TRUE(outer.acquired());
        EXPECT_FALSE(inner.acquired());
        EXPECT_FALSE(Thread_DestroyMutex(&checked.mutex));
    }
    EXPECT_FALSE(Thread_WaitForExit(&self));
    EXPECT_EQ(
        log.messages(),
        "THREAD: Thread_UnLockMutex: failed to unlock mutex: the calling thread does not own the mutex\n"
        "THREAD: Thread_LockMutex: failed to lock mutex: the mutex type is PTHREAD_MUTEX_ERRORCHECK and an "
        "attempt was made to relock the mutex\n"
        "THREAD: Thread_DestroyMutex: failed to destroy mutex: the mutex is locked or in use by another "
        "thread (for example, in a condition wait\n"
        "THREAD: Thread_WaitForExit: failed to wait for thread: a deadlock was detected or thread is the "
        "calling thread\n");
}

/// Codes that the platform does not give when asked.
TEST(Primitives, LogCodesByTheirReasonOrTheirNumber) {
    LogCapture log;
    errno = 7;
    EXPECT_FALSE(Thread_Succeeded(ENOMEM, "Thread_CreateMutex", "create mutex"));
    EXPECT_FALSE(Thread_Succeeded(EINVAL, "Thread_CreateThread", "create thread"));
    EXPECT_FALSE(Thread_Succeeded(99, "Thread_CreateThread", "create thread"));
    EXPECT_FALSE(Thread_Succeeded(99, "Thread_LockMutex", "lock mutex"));
    EXPECT_FALSE(Thread_Succeeded(99, "Thread_UnLockMutex", "unlock mutex"));
    EXPECT_EQ(log.messages(),
              "THREAD: Thread_CreateMutex: failed to create mutex: insufficient memory exists to initialize "
              "the mutex\n"
              "THREAD: Thread_CreateThread: failed to create thread: attr is not an initialized thread "
              "attribute object\n"
              "THREAD: Thread_CreateThread: failed to create thread: unknown error 99\n"
              "THREAD: Thread_LockMutex: failed to lock mutex: unknown error: errno= 7, result=99\n"
              "THREAD: Thread_UnLockMutex: failed to unlock mutex: unknown error: errno = 7, result=99\n");
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

TEST(Terminatable, RequestWakesASleeper) {
    Tally tally;
    Work work(tally);
    std::jthread stopper([&] { work.setToTerminate(); });
    EXPECT_EQ(work.waitForSemaphore(Thread_Semaphore::Forever), Thread_Semaphore::Granted);
}

TEST(Runnable, KeepsItsTextsWhenGivenNull) {
    Tally tally;
    Work work(tally);
    EXPECT_STREQ(work.getName(), "unknown");
    EXPECT_STREQ(work.getHostTarget(), "unknown");
    work.setName("SubmitAction");
    work.setHostTarget("host");
    work.setName(nullptr);
    work.setHostTarget(nullptr);
    EXPECT_STREQ(work.getName(), "SubmitAction");
    EXPECT_STREQ(work.getHostTarget(), "host");
}

TEST(Threadable, StatesDecideWhatIsWrong) {
    Service service;
    EXPECT_FALSE(service.checkForErrorBeforeStart(true, true));
    EXPECT_TRUE(service.checkForExitWhileRunning(true, true));
    EXPECT_TRUE(service.checkForErrorAtShutdown(true, true));

    EXPECT_TRUE(service.setAsRunning(true, true));
    EXPECT_TRUE(service.checkForErrorAtStart(true, true));
    EXPECT_FALSE(service.checkForExitWhileRunning(true, true));
    EXPECT_FALSE(service.checkForErrorAtShutdown(true, true));

    EXPECT_EQ(service.waitForSemaphore(0), Thread_Semaphore::TimedOut);
    EXPECT_TRUE(service.setAsShuttingdown(true, true));
    EXPECT_EQ(service.waitForSemaphore(0), Thread_Semaphore::Granted);
    EXPECT_TRUE(service.checkForErrorAtStart(true, true));
    EXPECT_TRUE(service.checkForExitWhileRunning(true, true));
    EXPECT_FALSE(service.checkForErrorAtShutdown(true, true));

    EXPECT_TRUE(service.setAsShutdown(true, true));
    EXPECT_FALSE(service.checkForErrorBeforeStart(true, true));
}

TEST(Threadable, ACheckThatLocksOpensACriticalSection) {
    Service service;
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
