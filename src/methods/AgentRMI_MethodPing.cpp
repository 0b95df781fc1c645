#include "methods/AgentRMI_MethodPing.h"

#include "calls/AgentRMI_MethodCallServer.h"
#include "methods/AgentRMI_MethodSupport.h"

void AgentRMI_MethodPing::invoke(xercesc::DOMElement* method, xercesc::DOMDocument*,
                                 xercesc::DOMElement* response) {
    AgentRMI_Perform([&] {
        AgentRMI_RequireNoParameters(*method);
        AgentRMI_AppendAgent(*response);
    });
}

void AgentRMI_MethodPingServer::invoke(xercesc::DOMElement* method, xercesc::DOMDocument*,
                                       xercesc::DOMElement* response) {
    AgentRMI_Perform([&] {
        AgentRMI_RequireNoParameters(*method);
        AgentRMI_MethodCallPing().invoke();
        AgentRMI_AppendAgent(*response);
    });
}
