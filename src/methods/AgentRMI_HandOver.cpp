#include "methods/AgentRMI_HandOver.h"

#include "rmi/AgentRMI_AsynchManager.h"
#include "rmi/RMI_MethodException.h"
#include "threads/MutexLock.h"
#include "threads/Thread_ThreadPoolException.h"
#include "xml/Xerces_Document.h"

namespace {

bool wasTaken(const std::function<bool()>& take, const char* whenFull, xercesc::DOMElement& response) {
    try {
        return take();
    } catch (const Thread_ThreadPoolException& refusal) {
        const bool full = refusal.getExceptionCode() == Thread_ThreadPoolException::QueueFull;
        Xerces_SetAttribute(response, "reason", full ? whenFull : "unknown");
    } catch (...) { // NOLINT(bugprone-empty-catch): whatever it is, the work was not taken
    }
    return false;
}

} // namespace

void AgentRMI_TakeOrRefuse(const std::function<bool()>& take, const char* whenFull,
                           xercesc::DOMElement& response) {
    if (!wasTaken(take, whenFull, response))
        throw RMI_MethodException(RMI_MethodException::GeneralFailure);
}

void AgentRMI_HandOver(AgentRMI_AsynchManager& manager, pthread_mutex_t& mutex,
                       std::unique_ptr<Thread_Runnable> runnable, const char* whenFull,
                       xercesc::DOMElement& response) {
    const auto take = [&] {
        const MutexLock lock(&mutex);
        // A busy manager never grows.
        return manager.handleRunnable(runnable.get(), false);
    };
    AgentRMI_TakeOrRefuse(take, whenFull, response);
    static_cast<void>(runnable.release());
}
