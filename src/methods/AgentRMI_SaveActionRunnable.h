#pragma once

#include "rmi/Thread_RunnableAuditParams.h"

#include <xercesc/util/XercesDefs.hpp>

#include <string>

XERCES_CPP_NAMESPACE_BEGIN
class DOMDocument;
class DOMElement;
XERCES_CPP_NAMESPACE_END

/// Stores an action script on this host, owned by the user whose password came with it and readable and
/// executable by nobody else. Lives inside the method's invoke and is never queued, so run does nothing.
class AgentRMI_SaveActionRunnable : public Thread_RunnableAuditParams {
public:
    AgentRMI_SaveActionRunnable();

    void run() override {}
    bool init() { return true; }
    /// False if a parameter that is there has no text.
    bool parseElements(const xercesc::DOMElement& method);
    /// False if a name is missing or cannot be part of a file name, or if the file cannot be written; then
    /// there is no file. Throws RMI_MethodException for a wrong user.
    bool invoke();
    bool serializeResult(xercesc::DOMDocument*, xercesc::DOMElement*) { return true; }

private:
    std::string actionScript_;
};
