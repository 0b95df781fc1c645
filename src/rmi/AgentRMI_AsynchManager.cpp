#include "rmi/AgentRMI_AsynchManager.h"

#include "log/Debug_Printf.h"
#include "threads/MutexLock.h"
#include "threads/Thread_Pool.h"

#include <new>

std::unique_ptr<AgentRMI_AsynchManager> gFileTrackRMIAsynchMgr;
std::unique_ptr<AgentRMI_AsynchManager> gSystemAuditRMIAsynchMgr;
std::unique_ptr<AgentRMI_AsynchManager> gGenericRMIAsynchMgr;
pthread_mutex_t gFileTrackMutexRMIAsynch = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t gSystemAuditMutexRMIAsynch = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t gGenericMutexRMIAsynch = PTHREAD_MUTEX_INITIALIZER;

namespace {

class AgentRMI_AsynchManagerImpl : public AgentRMI_AsynchManager {
public:
    bool start() override {
        say("attempting startup");
        const MutexLock lock(mutex());
        if (checkForErrorAtStart(false, false)) {
            say("startup failed: currently running");
            return false;
        }
        setAsRunning(false, false);
        const bool started = pool_.start();
        say(started ? "startup successful" : "startup failed");
        return started;
    }

    bool shutdown(bool& stillRunning, unsigned attempt, bool lastAttempt) override {
        stillRunning = false;
        say("attempting shutdown");
        {
            const MutexLock lock(mutex());
            if (checkForErrorAtShutdown(false, false)) {
                say("shutdown failed: not running");
                return false;
            }
            setAsShuttingdown(false, false);
        }
        // Not under the mutex: the pool waits for its threads here.
        pool_.shutdown(stillRunning, attempt, lastAttempt);
        if (!stillRunning)
            say("shutdown successful");
        else
            say(lastAttempt ? "threads still running on last attempt to shutdown" : "threads still running");
        if (!stillRunning || lastAttempt)
            setAsShutdown(true, true);
        return true;
    }

    bool init(unsigned threads, unsigned queueLimit, unsigned growth) override {
        const MutexLock lock(mutex());
        return !checkForErrorBeforeStart(false, false) && pool_.init(threads, queueLimit, growth);
    }

    bool handleRunnable(Thread_Runnable* runnable, bool mayGrow) override {
        return pool_.handleRunnable(runnable, mayGrow);
    }

private:
    void say(const char* what) const { DEBUG_LOG("AsynchManager: %s: %s\n", getName().c_str(), what); }

    Thread_Pool pool_;
};

} // namespace

std::unique_ptr<AgentRMI_AsynchManager> AgentRMI_FactoryAllocateAsynchManager() {
    return std::unique_ptr<AgentRMI_AsynchManager>(new (std::nothrow) AgentRMI_AsynchManagerImpl);
}
