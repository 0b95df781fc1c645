#include "methods/AgentRMI_MethodRunnable.h"

#include "log/Debug_Printf.h"

void AgentRMI_MethodRunnable::log(const char* what) const {
    DEBUG_LOG("AgentRMI_%sRunnable::%s\n", getName(), what);
}

bool AgentRMI_MethodRunnable::mustStop() {
    const bool told = isToldToTerminate();
    if (told)
        log("invoke check terminate");
    return told;
}

bool AgentRMI_MethodRunnable::end(bool success) const {
    log(success ? "invoke success" : "invoke failure");
    return success;
}

void AgentRMI_Prepare(AgentRMI_MethodRunnable& work, RMI_Method& rmi, const xercesc::DOMElement& method) {
    AgentRMI_Require(work.getAuditParamsFromMethod(&rmi) && work.init() && work.parseElements(method));
}

void AgentRMI_RunInline(AgentRMI_MethodRunnable& work, RMI_Method& rmi, const xercesc::DOMElement& method,
                        xercesc::DOMDocument* document, xercesc::DOMElement* response) {
    AgentRMI_Prepare(work, rmi, method);
    AgentRMI_Require(work.invoke() && work.serializeResult(document, response));
}
