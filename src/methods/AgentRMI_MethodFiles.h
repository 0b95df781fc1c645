#pragma once

#include "rmi/AgentRMI_GuidMethod.h"

/// Answers with one file, or one directory and its direct members, files first. A listing ends at 2,500
/// members, without a mark that it was cut. What cannot be looked at is a general failure.
class AgentRMI_MethodGetFSOs : public AgentRMI_GuidMethod {
public:
    using AgentRMI_GuidMethod::AgentRMI_GuidMethod;

    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                xercesc::DOMElement* response) override;
};

/// Queues the counting of whole trees, each of which is told to the server by a call. One batch at a time.
class AgentRMI_MethodGetFSOBatchStats : public AgentRMI_GuidMethod {
public:
    using AgentRMI_GuidMethod::AgentRMI_GuidMethod;

    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                xercesc::DOMElement* response) override;
};
