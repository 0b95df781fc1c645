#pragma once

#include "rmi/AgentRMI_GuidMethod.h"

/// Tells that the agent is there, and what it is.
class AgentRMI_MethodPing : public AgentRMI_GuidMethod {
public:
    using AgentRMI_GuidMethod::AgentRMI_GuidMethod;

    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                xercesc::DOMElement* response) override;
};

/// The same, and that the agent can reach its server. A server that does not answer is a general failure.
class AgentRMI_MethodPingServer : public AgentRMI_GuidMethod {
public:
    using AgentRMI_GuidMethod::AgentRMI_GuidMethod;

    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                xercesc::DOMElement* response) override;
};
