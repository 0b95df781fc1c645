#include "methods/AgentRMI_MethodActions.h"

#include "log/Debug_Printf.h"
#include "methods/AgentRMI_GetActionScriptListRunnable.h"
#include "methods/AgentRMI_SaveActionRunnable.h"
#include "methods/AgentRMI_SubmitActionRunnable.h"

bool AgentRMI_MethodSubmitAction::validateUser(xercesc::DOMElement*) {
    DEBUG_LOG("AgentRMI_MethodSubmitAction::validateUser\n");
    return true;
}

void AgentRMI_MethodSubmitAction::invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                                         xercesc::DOMElement* response) {
    AgentRMI_RunInline<AgentRMI_SubmitActionRunnableDistributed>(*this, method, document, response);
}

void AgentRMI_MethodSaveAction::invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                                       xercesc::DOMElement* response) {
    AgentRMI_RunInline<AgentRMI_SaveActionRunnable>(*this, method, document, response);
}

bool AgentRMI_MethodGetActionScriptList::validateUser(xercesc::DOMElement*) {
    DEBUG_LOG("AgentRMI_MethodGetActionScriptList::validateUser\n");
    return true;
}

void AgentRMI_MethodGetActionScriptList::invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                                                xercesc::DOMElement* response) {
    AgentRMI_RunInline<AgentRMI_GetActionScriptListRunnable>(*this, method, document, response);
}
