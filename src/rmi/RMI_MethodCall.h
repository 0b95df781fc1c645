#pragma once

#include "xml/Xerces_Types.h"

#include <cstddef>
#include <string>

/// One call of the agent to the server: the request in its envelope, the exchange, the checks of the reply. A
/// call object belongs to the thread that makes the call.
class RMI_MethodCall {
public:
    RMI_MethodCall(const RMI_MethodCall&) = delete;
    RMI_MethodCall& operator=(const RMI_MethodCall&) = delete;

    /// Makes the call and blocks until the reply has been judged. Throws RMI_MethodCallException with
    /// CallFailed on any failure, and nothing else.
    void invoke();

    /// Fills the guid with the identity of the agent, or with that for a host; empty if there is none.
    virtual void setGuidMember() = 0;
    virtual void setGuidMember(std::string hostTarget) = 0;
    /// Adds the parameters below `method`. Whatever is thrown fails the call.
    virtual void appendParameters(xercesc::DOMDocument* document, xercesc::DOMElement* method) = 0;
    /// Sends the request and gets the reply's text. Throws RMI_MethodCallException with ExchangeFailed.
    virtual void makeRequest(std::string* request, std::string* reply) = 0;
    virtual void makeRequest(const char* request, int length, std::string* reply) = 0;
    /// Takes what the call is about out of a successful reply. Whatever is thrown fails the call.
    virtual void parseResponse(xercesc::DOMElement* response) = 0;
    /// The host on whose behalf the call is made; empty for the agent's own.
    virtual const char* getHostTarget() const { return hostTarget_.c_str(); }
    virtual void setHostTarget(const char* hostTarget) {
        hostTarget_ = hostTarget == nullptr ? "" : hostTarget;
    }
    virtual ~RMI_MethodCall() = default;

protected:
    explicit RMI_MethodCall(const char* methodName) : methodName_(methodName) {}

    void setGuid(std::string guid) { guid_ = std::move(guid); }
    bool verifyPeer() const { return verifyPeer_; }

private:
    std::string createRequest();
    void judge(const std::string& reply);

    std::string methodName_;
    std::string guid_;
    std::string hostTarget_;
    bool verifyPeer_ = false;
};
