#pragma once

#include "rmi/RMI_MethodCall.h"

/// A call over HTTP to the server of agent.conf, under the identity of uuid.conf. On its own it has no
/// parameters and reads nothing from the reply but its success.
class AgentRMI_HTTPMethodCall : public RMI_MethodCall {
public:
    void setGuidMember() override;
    void setGuidMember(std::string hostTarget) override;
    void appendParameters(xercesc::DOMDocument* document, xercesc::DOMElement* method) override;
    void makeRequest(std::string* request, std::string* reply) override;
    void makeRequest(const char* request, int length, std::string* reply) override;
    void parseResponse(xercesc::DOMElement* response) override;

    /// Whether the call goes over TLS whatever the enterprise setting says.
    void setSSLPreferredState(bool preferred) { sslPreferred_ = preferred; }

protected:
    using RMI_MethodCall::RMI_MethodCall;

private:
    bool sslPreferred_ = false;
};
