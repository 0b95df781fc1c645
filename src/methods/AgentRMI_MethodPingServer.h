#pragma once

#include "rmi/AgentRMI_GuidMethod.h"

#include <functional>

/// Calls the management server and throws if it does not answer.
void AgentRMI_PingServer();
using AgentRMI_ServerPing = std::function<void()>;

/// Tells that the agent can reach its server. A server that does not answer is a general
/// failure.
class AgentRMI_MethodPingServer : public AgentRMI_GuidMethod {
public:
    AgentRMI_MethodPingServer(const AgentRMI_MethodRules& rules, const char* guid,
                              AgentRMI_ServerPing pingServer = AgentRMI_PingServer);

    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                xercesc::DOMElement* response) override;

private:
    AgentRMI_ServerPing pingServer_;
};
