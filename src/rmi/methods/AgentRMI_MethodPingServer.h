#pragma once

#include "rmi/AgentRMI_GuidMethod.h"

#include <functional>

/// Calls the management server and throws if it does not answer.
using AgentRMI_ServerPing = std::function<void()>;

/// Tells that the agent can reach its server. Without a way to call it, as with a server that does not
/// answer, the method is a general failure.
class AgentRMI_MethodPingServer : public AgentRMI_GuidMethod {
public:
    AgentRMI_MethodPingServer(const AgentRMI_MethodRules& rules, const char* guid,
                              AgentRMI_ServerPing pingServer = {});

    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                xercesc::DOMElement* response) override;

private:
    AgentRMI_ServerPing pingServer_;
};
