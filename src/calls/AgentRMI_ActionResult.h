#pragma once

#include "rmi/AgentRMI_HTTPMethodCall.h"

class AgentActions_ActionResult;

/// The call with which the server is told what became of an action. Goes over TLS whatever the setting says.
class AgentRMI_MethodCallActionResult : public AgentRMI_HTTPMethodCall {
public:
    AgentRMI_MethodCallActionResult();
    /// The result is borrowed until the call has been made.
    void registerActionResult(const AgentActions_ActionResult* result) { result_ = result; }
    void appendParameters(xercesc::DOMDocument* document, xercesc::DOMElement* method) override;

private:
    const AgentActions_ActionResult* result_ = nullptr;
};

/// Delivers the result of an action to the server.
class AgentRMI_ActionResult {
public:
    /// The result is borrowed.
    explicit AgentRMI_ActionResult(const AgentActions_ActionResult* result) : result_(result) {}

    /// Blocks for the call. False without a result; throws RMI_MethodCallException if the call failed.
    bool invoke();
    bool serializeResult(xercesc::DOMDocument* document, xercesc::DOMElement* method);

private:
    const AgentActions_ActionResult* result_;
};
