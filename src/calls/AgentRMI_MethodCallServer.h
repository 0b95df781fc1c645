#pragma once

#include "rmi/AgentRMI_HTTPMethodCall.h"

/// The calls that ask the server about itself: their replies carry a Server element.

/// Tells whether the server can be reached at all.
class AgentRMI_MethodCallPing : public AgentRMI_HTTPMethodCall {
public:
    AgentRMI_MethodCallPing();
    void parseResponse(xercesc::DOMElement* response) override;
};

/// Learns whether calls are to go over TLS, and sets gCallServerWithSSL accordingly. Goes over TLS itself.
class AgentRMI_MethodCallGetSSLState : public AgentRMI_HTTPMethodCall {
public:
    AgentRMI_MethodCallGetSSLState();
    void parseResponse(xercesc::DOMElement* response) override;
};
