#pragma once

#include "rmi/AgentRMI_HTTPMethodCall.h"

/// Work whose result a call delivers.
class AgentRMI_ResultSource {
public:
    AgentRMI_ResultSource() = default;
    AgentRMI_ResultSource(const AgentRMI_ResultSource&) = delete;
    AgentRMI_ResultSource& operator=(const AgentRMI_ResultSource&) = delete;
    virtual ~AgentRMI_ResultSource() = default;

    /// Writes the result below `parent`. False if there is none.
    virtual bool serializeResult(xercesc::DOMDocument* document, xercesc::DOMElement* parent) = 0;
};

/// Delivers what some work has found, as a call of any name: "GetStorageSystemResults", say, or
/// "SearchProgress". Without a result nothing is sent and the call fails.
class AgentRMI_MethodCallResults : public AgentRMI_HTTPMethodCall {
public:
    explicit AgentRMI_MethodCallResults(const char* name) : AgentRMI_HTTPMethodCall(name) {}

    /// The runnable is borrowed until the call has been made.
    void registerRunnable(AgentRMI_ResultSource* runnable) { runnable_ = runnable; }
    void appendParameters(xercesc::DOMDocument* document, xercesc::DOMElement* method) override;

private:
    AgentRMI_ResultSource* runnable_ = nullptr;
};
