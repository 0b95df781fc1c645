#pragma once

#include "rmi/AgentRMI_GuidMethod.h"

/// Sets whether the agent calls its server over TLS. One parameter, an element of any name with the text
/// "true" or "false"; of several the last counts, and one that is malformed leaves the setting as it was.
class AgentRMI_MethodSetCallServerWithSSL : public AgentRMI_GuidMethod {
public:
    using AgentRMI_GuidMethod::AgentRMI_GuidMethod;

    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                xercesc::DOMElement* response) override;
};
