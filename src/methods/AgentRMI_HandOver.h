#pragma once

#include "threads/Thread_Runnable.h"

#include <xercesc/util/XercesDefs.hpp>

#include <memory>
#include <pthread.h>

XERCES_CPP_NAMESPACE_BEGIN
class DOMElement;
XERCES_CPP_NAMESPACE_END

class AgentRMI_AsynchManager;

/// Gives work to a manager, under the mutex that guards hand-overs to it. Throws RMI_MethodException with a
/// general failure if the manager does not take it; if that is because it has all it can do, `response` gets
/// the reason `whenFull`. The work that was not taken is deleted.
void AgentRMI_HandOver(AgentRMI_AsynchManager& manager, pthread_mutex_t& mutex,
                       std::unique_ptr<Thread_Runnable> runnable, const char* whenFull,
                       xercesc::DOMElement& response);
