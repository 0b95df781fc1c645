#pragma once

#include "actions/AgentActions_ScriptletExecutor.h"
#include "methods/AgentRMI_ActionParameters.h"
#include "methods/AgentRMI_MethodRunnable.h"

#include <string_view>
#include <vector>

/// An action script and the objects it works on, as a request gave them.
class AgentRMI_SubmitActionRunnableBase : public AgentRMI_MethodRunnable {
public:
    AgentRMI_SubmitActionRunnableBase() : AgentRMI_MethodRunnable("SubmitAction") {}

    /// False if a parameter that is needed is missing, has no text, or cannot be part of a file name.
    bool parseElements(const xercesc::DOMElement& method) override;

protected:
    const AgentRMI_ActionParameters& action() const { return action_; }

private:
    bool checkPostParseConditions() const;

    AgentRMI_ActionParameters action_;
};

/// Runs the script scriptlet by scriptlet on this host and reports the outcome of each to the server.
class AgentRMI_SubmitActionRunnableDistributed : public AgentRMI_SubmitActionRunnableBase {
public:
    /// Blocks until all has run and the report is delivered or lost. Throws RMI_MethodException, before
    /// anything has run, for a wrong user, a script without header, scriptlets that don't match the objects,
    /// or an id of which an action is running already.
    bool invoke() override;

private:
    void makeScriptlets(const std::vector<std::string_view>& pieces);
    void execScriptlets();
    void reportToServer() const;

    std::vector<AgentActions_ScriptletExecutor> scriptlets_;
};
