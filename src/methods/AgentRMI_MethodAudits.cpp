#include "methods/AgentRMI_MethodAudits.h"

#include "methods/AgentRMI_HandOver.h"
#include "rmi/AgentRMI_AsynchManager.h"

void AgentRMI_MethodAudit::invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                                  xercesc::DOMElement* response) {
    AgentRMI_Perform([&] {
        AgentRMI_RequireNoParameters(*method);
        std::unique_ptr<AgentRMI_AuditRunnable> runnable = allocateRunnable();
        if (mode() == Mode::Inline) {
            AgentRMI_RunInline(*runnable, *this, *method, document, response);
            return;
        }
        AgentRMI_Prepare(*runnable, *this, *method);
        AgentRMI_HandOver(*gGenericRMIAsynchMgr, gGenericMutexRMIAsynch, std::move(runnable),
                          AgentRMI_TooManyAudits, *response);
    });
}
