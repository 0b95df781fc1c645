#pragma once

#include "threads/Thread_Runnable.h"
#include "xml/Xerces_Types.h"

#include <functional>
#include <memory>
#include <pthread.h>

class AgentRMI_AsynchManager;

/// Calls `take`, which gives work to a pool and says whether that took it. Throws RMI_MethodException with a
/// general failure if it did not, or threw; if a Thread_ThreadPoolException says why, `response` gets a
/// reason: `whenFull` if the pool has all it can do, "unknown" otherwise.
void AgentRMI_TakeOrRefuse(const std::function<bool()>& take, const char* whenFull,
                           xercesc::DOMElement& response);

/// Gives work to a manager, under the mutex that guards hand-overs to it, and refuses likewise. The work that
/// was not taken is deleted.
void AgentRMI_HandOver(AgentRMI_AsynchManager& manager, pthread_mutex_t& mutex,
                       std::unique_ptr<Thread_Runnable> runnable, const char* whenFull,
                       xercesc::DOMElement& response);
