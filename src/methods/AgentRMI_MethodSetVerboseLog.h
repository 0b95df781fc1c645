#pragma once

#include "rmi/AgentRMI_GuidMethod.h"

/// Opens and closes the log file beside the executable. Its one parameter, the element VerboseMode, holds
/// "on" or "off" in any case. Refused while the log goes to the console.
class AgentRMI_MethodSetVerboseLog : public AgentRMI_GuidMethod {
public:
    using AgentRMI_GuidMethod::AgentRMI_GuidMethod;

    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                xercesc::DOMElement* response) override;
};
