#pragma once

#include "threads/Thread_Threadable.h"

#include <memory>
#include <pthread.h>
#include <string>

class Thread_Runnable;

/// A service that does the work of methods that answer at once and deliver their result later.
class AgentRMI_AsynchManager : public Thread_Threadable {
public:
    const std::string& getName() const { return name_; }
    void setName(const std::string& name) { name_ = name; }

    bool start() override = 0;
    bool shutdown(bool& stillRunning, unsigned attempt, bool lastAttempt) override = 0;
    /// The numbers of Thread_Pool::init. False while the manager runs.
    virtual bool init(unsigned threads, unsigned queueLimit, unsigned growth) = 0;
    /// As Thread_Pool::handleRunnable, exception included. Takes no lock of its own.
    virtual bool handleRunnable(Thread_Runnable* runnable, bool mayGrow) = 0;

private:
    std::string name_;
};

/// Null when memory is short.
std::unique_ptr<AgentRMI_AsynchManager> AgentRMI_FactoryAllocateAsynchManager();

/// The three managers, there while the agent runs; each mutex is held around a hand-over to its manager.
extern std::unique_ptr<AgentRMI_AsynchManager> gFileTrackRMIAsynchMgr;
extern std::unique_ptr<AgentRMI_AsynchManager> gSystemAuditRMIAsynchMgr;
extern std::unique_ptr<AgentRMI_AsynchManager> gGenericRMIAsynchMgr;
extern pthread_mutex_t gFileTrackMutexRMIAsynch;
extern pthread_mutex_t gSystemAuditMutexRMIAsynch;
extern pthread_mutex_t gGenericMutexRMIAsynch;
