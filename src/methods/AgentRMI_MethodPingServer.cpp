#include "methods/AgentRMI_MethodPingServer.h"

#include "calls/AgentRMI_MethodCallServer.h"
#include "methods/AgentRMI_MethodSupport.h"

#include <utility>

void AgentRMI_PingServer() {
    AgentRMI_MethodCallPing().invoke();
}

AgentRMI_MethodPingServer::AgentRMI_MethodPingServer(const AgentRMI_MethodRules& rules, const char* guid,
                                                     AgentRMI_ServerPing pingServer)
    : AgentRMI_GuidMethod(rules, guid), pingServer_(std::move(pingServer)) {}

void AgentRMI_MethodPingServer::invoke(xercesc::DOMElement* method, xercesc::DOMDocument*,
                                       xercesc::DOMElement* response) {
    AgentRMI_Perform([&] {
        AgentRMI_RequireNoParameters(*method);
        pingServer_();
        AgentRMI_AppendAgent(*response);
    });
}
