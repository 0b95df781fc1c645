#pragma once

#include "rmi/AgentRMI_GuidMethod.h"

/// The action methods. Each does its work inline, on the thread of its request; the user named in the
/// parameters is checked by the work itself.

/// Runs an action script as a system user and reports the outcome by a call before it returns.
class AgentRMI_MethodSubmitAction : public AgentRMI_GuidMethod {
public:
    using AgentRMI_GuidMethod::AgentRMI_GuidMethod;
    bool validateUser(xercesc::DOMElement* response) override;
    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                xercesc::DOMElement* response) override;
};

/// Stores an action script for a system user.
class AgentRMI_MethodSaveAction : public AgentRMI_GuidMethod {
public:
    using AgentRMI_GuidMethod::AgentRMI_GuidMethod;
    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                xercesc::DOMElement* response) override;
};

/// Answers with the list of scripts.
class AgentRMI_MethodGetActionScriptList : public AgentRMI_GuidMethod {
public:
    using AgentRMI_GuidMethod::AgentRMI_GuidMethod;
    bool validateUser(xercesc::DOMElement* response) override;
    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                xercesc::DOMElement* response) override;
};
