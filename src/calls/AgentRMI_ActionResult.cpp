#include "calls/AgentRMI_ActionResult.h"

#include "actions/AgentActions_ActionResult.h"
#include "log/Debug_Printf.h"
#include "xml/Xerces_Document.h"

AgentRMI_MethodCallActionResult::AgentRMI_MethodCallActionResult()
    : AgentRMI_MethodCallResults("UpdateAction") {
    setSSLPreferredState(true);
}

void AgentRMI_MethodCallActionResult::appendParameters(xercesc::DOMDocument* document,
                                                       xercesc::DOMElement* method) {
    Xerces_SetAttribute(*method, "nameSpace", "proactivity");
    AgentRMI_MethodCallResults::appendParameters(document, method);
}

bool AgentRMI_ActionResult::invoke() {
    AgentRMI_MethodCallActionResult call;
    DEBUG_LOG("AgentRMI_ActionResult::invoke\n");
    if (result_ == nullptr) {
        DEBUG_LOG("AgentRMI_ActionResult::invoke actionResult is NULL\n");
        DEBUG_LOG("AgentRMI_ActionResult::invoke failure\n");
        return false;
    }
    call.registerRunnable(this);
    call.invoke();
    DEBUG_LOG("AgentRMI_ActionResult::invoke success\n");
    return true;
}

bool AgentRMI_ActionResult::serializeResult(xercesc::DOMDocument* document, xercesc::DOMElement* method) {
    return result_ != nullptr && result_->serialize(document, method);
}
