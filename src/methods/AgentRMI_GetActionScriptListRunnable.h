#pragma once

#include "methods/AgentRMI_MethodRunnable.h"

/// The list of scripts that the agent offers.
class AgentRMI_GetActionScriptListRunnable : public AgentRMI_MethodRunnable {
public:
    AgentRMI_GetActionScriptListRunnable() : AgentRMI_MethodRunnable("GetActionScriptList") {}

    bool invoke() override { return end(!mustStop()); }
    /// Throws what the XML helper throws.
    bool serializeResult(xercesc::DOMDocument* document, xercesc::DOMElement* response) override;
};
