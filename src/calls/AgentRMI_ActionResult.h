#pragma once

#include "calls/AgentRMI_MethodCallResults.h"

class AgentActions_ActionResult;

/// The call with which the server is told what became of an action. Goes over TLS whatever the setting says.
class AgentRMI_MethodCallActionResult : public AgentRMI_MethodCallResults {
public:
    AgentRMI_MethodCallActionResult();
    void appendParameters(xercesc::DOMDocument* document, xercesc::DOMElement* method) override;
};

/// Delivers the result of an action to the server.
class AgentRMI_ActionResult : public AgentRMI_ResultSource {
public:
    /// The result is borrowed.
    explicit AgentRMI_ActionResult(const AgentActions_ActionResult* result) : result_(result) {}

    /// Blocks for the call. False without a result; throws RMI_MethodCallException if the call failed.
    bool invoke();
    bool serializeResult(xercesc::DOMDocument* document, xercesc::DOMElement* method) override;

private:
    const AgentActions_ActionResult* result_;
};
