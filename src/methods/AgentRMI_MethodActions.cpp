#include "methods/AgentRMI_MethodActions.h"

#include "log/Debug_Printf.h"
#include "methods/AgentRMI_GetActionScriptListRunnable.h"
#include "methods/AgentRMI_MethodSupport.h"
#include "methods/AgentRMI_SaveActionRunnable.h"
#include "methods/AgentRMI_SubmitActionRunnable.h"

namespace {

template <typename Runnable>
void runInline(RMI_Method& rmi, xercesc::DOMElement* method, xercesc::DOMDocument* document,
               xercesc::DOMElement* response) {
    AgentRMI_Perform([&] {
        Runnable work;
        if (!work.getAuditParamsFromMethod(&rmi) || !work.init() || !work.parseElements(*method) ||
            !work.invoke() || !work.serializeResult(document, response))
            throw RMI_MethodException(RMI_MethodException::GeneralFailure);
    });
}

} // namespace

bool AgentRMI_MethodSubmitAction::validateUser(xercesc::DOMElement*) {
    DEBUG_LOG("AgentRMI_MethodSubmitAction::validateUser\n");
    return true;
}

void AgentRMI_MethodSubmitAction::invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                                         xercesc::DOMElement* response) {
    runInline<AgentRMI_SubmitActionRunnableDistributed>(*this, method, document, response);
}

void AgentRMI_MethodSaveAction::invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                                       xercesc::DOMElement* response) {
    runInline<AgentRMI_SaveActionRunnable>(*this, method, document, response);
}

bool AgentRMI_MethodGetActionScriptList::validateUser(xercesc::DOMElement*) {
    DEBUG_LOG("AgentRMI_MethodGetActionScriptList::validateUser\n");
    return true;
}

void AgentRMI_MethodGetActionScriptList::invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                                                xercesc::DOMElement* response) {
    runInline<AgentRMI_GetActionScriptListRunnable>(*this, method, document, response);
}
