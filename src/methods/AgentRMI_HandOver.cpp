#include "methods/AgentRMI_HandOver.h"

#include "rmi/AgentRMI_AsynchManager.h"
#include "rmi/RMI_MethodException.h"
#include "threads/MutexLock.h"
#include "threads/Thread_ThreadPoolException.h"
#include "xml/Xerces_Document.h"

namespace {

bool takes(AgentRMI_AsynchManager& manager, pthread_mutex_t& mutex, Thread_Runnable* runnable) {
    const MutexLock lock(&mutex);
    // A busy manager never grows.
    return manager.handleRunnable(runnable, false);
}

} // namespace

void AgentRMI_HandOver(AgentRMI_AsynchManager& manager, pthread_mutex_t& mutex,
                       std::unique_ptr<Thread_Runnable> runnable, const char* whenFull,
                       xercesc::DOMElement& response) {
    try {
        if (takes(manager, mutex, runnable.get())) {
            static_cast<void>(runnable.release());
            return;
        }
    } catch (const Thread_ThreadPoolException& refusal) {
        const bool full = refusal.getExceptionCode() == Thread_ThreadPoolException::QueueFull;
        Xerces_SetAttribute(response, "reason", full ? whenFull : "unknown");
    }
    throw RMI_MethodException(RMI_MethodException::GeneralFailure);
}
