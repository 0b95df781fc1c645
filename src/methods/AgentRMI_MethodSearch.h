#pragma once

#include "methods/AgentRMI_MethodRunnable.h"
#include "model/Auditable_Auditable.h"
#include "rmi/AgentRMI_GuidMethod.h"
#include "search/FileSearch_SortCaller.h"

#include <string>
#include <vector>

/// Starts a search and answers at once; the search tells the server how it fares by calls.
class AgentRMI_MethodSearchFSOs : public AgentRMI_GuidMethod, public Auditable_Auditable {
public:
    using AgentRMI_GuidMethod::AgentRMI_GuidMethod;

    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                xercesc::DOMElement* response) override;
    /// Of its auditable side only the parameters are used.
    bool audit() override { return false; }
};

/// Answers with a page of the hits of one volume, in the order in which they were found.
class AgentRMI_MethodGetFSOSearchResults : public AgentRMI_GuidMethod, public FileSearch_SortCaller {
public:
    using AgentRMI_GuidMethod::AgentRMI_GuidMethod;

    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                xercesc::DOMElement* response) override;
};

/// Drops searches and what they have stored. Fails, and drops none, if one of them is at work.
class AgentRMI_MethodDeleteSearches : public AgentRMI_GuidMethod {
public:
    using AgentRMI_GuidMethod::AgentRMI_GuidMethod;

    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                xercesc::DOMElement* response) override;
};

class AgentRMI_DeleteSearchesRunnable : public AgentRMI_MethodRunnable {
public:
    AgentRMI_DeleteSearchesRunnable() : AgentRMI_MethodRunnable("DeleteSearches") {}

    /// Takes the children "Token" of `method`. False if one cannot be the token of a search.
    bool parseElements(const xercesc::DOMElement& method) override;
    bool invoke() override;

private:
    std::vector<std::string> tokens_;
};
