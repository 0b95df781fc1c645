#include "rmi/AgentRMI_AsynchManager.h"

#include "threads/MutexLock.h"
#include "threads/Thread_Pool.h"
#include "threads/Thread_Service.h"

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
        return Thread_StartService(*this, logName(), Thread_ServiceTexts(), [this] { return pool_.start(); });
    }

    bool shutdown(bool& stillRunning, unsigned attempt, bool lastAttempt) override {
        return Thread_ShutDownService(*this, logName(), Thread_ServiceTexts(), {&pool_}, stillRunning,
                                      attempt, lastAttempt);
    }

    bool init(unsigned threads, unsigned queueLimit, unsigned growth) override {
        const MutexLock lock(mutex());
        return !checkForErrorBeforeStart(false, false) && pool_.init(threads, queueLimit, growth);
    }

    bool handleRunnable(Thread_Runnable* runnable, bool mayGrow) override {
        return pool_.handleRunnable(runnable, mayGrow);
    }

private:
    std::string logName() const { return "AsynchManager: " + getName(); }

    Thread_Pool pool_;
};

} // namespace

std::unique_ptr<AgentRMI_AsynchManager> AgentRMI_FactoryAllocateAsynchManager() {
    return std::unique_ptr<AgentRMI_AsynchManager>(new (std::nothrow) AgentRMI_AsynchManagerImpl);
}
