#pragma once

#include "methods/AgentRMI_ActionParameters.h"
#include "methods/AgentRMI_MethodRunnable.h"

/// Stores an action script on this host, owned by the user whose password came with it and readable and
/// executable by nobody else.
class AgentRMI_SaveActionRunnable : public AgentRMI_MethodRunnable {
public:
    AgentRMI_SaveActionRunnable() : AgentRMI_MethodRunnable("SaveAction") {}

    /// False if a parameter that is there has no text.
    bool parseElements(const xercesc::DOMElement& method) override;
    /// False if a name is missing or cannot be part of a file name, or if the file cannot be written; then
    /// there is no file. Throws RMI_MethodException for a wrong user.
    bool invoke() override;

private:
    AgentRMI_ActionParameters action_;
};
