#include "methods/AgentRMI_MethodAudits.h"

#include "methods/AgentRMI_HandOver.h"
#include "methods/AgentRMI_MethodSupport.h"
#include "rmi/AgentRMI_AsynchManager.h"

void AgentRMI_MethodAudit::invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                                  xercesc::DOMElement* response) {
    AgentRMI_Perform([&] {
        AgentRMI_RequireNoParameters(*method);
        std::unique_ptr<AgentRMI_AuditRunnable> runnable = allocateRunnable();
        bool done = runnable->getAuditParamsFromMethod(this) && runnable->init();
        if (done && mode() == Mode::Queued)
            AgentRMI_HandOver(*gGenericRMIAsynchMgr, gGenericMutexRMIAsynch, std::move(runnable),
                              "maximum system audits in progress", *response);
        else if (done)
            done = runnable->invoke() && runnable->serializeResult(document, response);
        if (!done)
            throw RMI_MethodException(RMI_MethodException::GeneralFailure);
    });
}
