#pragma once

#include "actions/AgentActions_ScriptletExecutor.h"
#include "rmi/Thread_RunnableAuditParams.h"

#include <xercesc/util/XercesDefs.hpp>

#include <string>
#include <string_view>
#include <vector>

XERCES_CPP_NAMESPACE_BEGIN
class DOMDocument;
class DOMElement;
XERCES_CPP_NAMESPACE_END

/// An action script and the objects it works on, as a request gave them. Lives inside the method's invoke and
/// is never queued, so run does nothing.
class AgentRMI_SubmitActionRunnableBase : public Thread_RunnableAuditParams {
public:
    AgentRMI_SubmitActionRunnableBase();

    void run() override {}
    bool init() { return true; }
    /// False if a parameter that is needed is missing, has no text, or cannot be part of a file name.
    bool parseElements(const xercesc::DOMElement& method);
    virtual bool invoke() = 0;
    bool serializeResult(xercesc::DOMDocument*, xercesc::DOMElement*) { return true; }

protected:
    const std::string& actionScript() const { return actionScript_; }
    const std::vector<std::string>& groupMembers() const { return groupMembers_; }

private:
    bool parseGroup(const xercesc::DOMElement& group);
    bool checkPostParseConditions() const;

    std::string actionScript_;
    std::vector<std::string> groupMembers_;
};

/// Runs the script scriptlet by scriptlet on this host and reports the outcome of each to the server.
class AgentRMI_SubmitActionRunnableDistributed : public AgentRMI_SubmitActionRunnableBase {
public:
    /// Blocks until all has run and the report is delivered or lost. Throws RMI_MethodException, before
    /// anything has run, for a wrong user, a script without header, or scriptlets that don't match the
    /// objects.
    bool invoke() override;

private:
    void makeScriptlets(const std::vector<std::string_view>& pieces);
    void execAndReport();
    void execScriptlets();

    std::vector<AgentActions_ScriptletExecutor> scriptlets_;
};
