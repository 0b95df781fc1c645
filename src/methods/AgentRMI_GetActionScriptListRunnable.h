#pragma once

#include "rmi/Thread_RunnableAuditParams.h"

#include <xercesc/util/XercesDefs.hpp>

#include <string>
#include <vector>

XERCES_CPP_NAMESPACE_BEGIN
class DOMDocument;
class DOMElement;
XERCES_CPP_NAMESPACE_END

/// The list of scripts that the agent offers. Lives inside the method's invoke and is never queued, so run
/// does nothing.
class AgentRMI_GetActionScriptListRunnable : public Thread_RunnableAuditParams {
public:
    AgentRMI_GetActionScriptListRunnable();

    void run() override {}
    bool init() { return true; }
    bool parseElements(const xercesc::DOMElement&) { return true; }
    /// False once told to terminate.
    bool invoke();
    /// Adds the list below `response`. Throws what the XML helper throws.
    bool serializeResult(xercesc::DOMDocument* document, xercesc::DOMElement* response);

private:
    std::vector<std::string> members_;
};
