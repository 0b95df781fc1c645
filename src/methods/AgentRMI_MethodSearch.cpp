#include "methods/AgentRMI_MethodSearch.h"

#include "methods/AgentRMI_HandOver.h"
#include "rmi/RMI_RequestAttributes.h"
#include "search/FileSearch_Manager.h"
#include "search/FileSearch_ResultPath.h"
#include "threads/MutexLock.h"
#include "xml/Xerces_Document.h"

#include <algorithm>

void AgentRMI_MethodSearchFSOs::invoke(xercesc::DOMElement* method, xercesc::DOMDocument* /*document*/,
                                       xercesc::DOMElement* response) {
    AgentRMI_TakeOrRefuse(
        [&] {
            const MutexLock lock(&gMutexFileSearch);
            return RMI_StoreAuditParameters(*this, *this) && gFileSearchMgr->performNewSearch(method, this);
        },
        "maximum searches in progress", *response);
}

void AgentRMI_MethodGetFSOSearchResults::invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                                                xercesc::DOMElement* response) {
    AgentRMI_Perform([&] {
        {
            const MutexLock lock(&gMutexFileSearch);
            AgentRMI_Require(
                gFileSearchMgr->lookupResults(this, method, document, response, getHostTarget()));
        }
        waitUntilSortCompleted();
        AgentRMI_Require(getResult());
    });
}

void AgentRMI_MethodDeleteSearches::invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                                           xercesc::DOMElement* response) {
    AgentRMI_RunInline<AgentRMI_DeleteSearchesRunnable>(*this, method, document, response);
}

bool AgentRMI_DeleteSearchesRunnable::parseElements(const xercesc::DOMElement& method) {
    log("parseElements");
    const char* const hostTarget = getAuditParameterValue("hostTarget");
    for (const xercesc::DOMElement* element : Xerces_ChildElements(method, "Token"))
        tokens_.push_back(FileSearch_Token(Xerces_FirstText(*element).value_or(""),
                                           hostTarget != nullptr ? hostTarget : ""));
    const bool areTokens = std::all_of(tokens_.begin(), tokens_.end(), FileSearch_IsToken);
    log(areTokens ? "parseElements success" : "parseElements failure");
    return areTokens;
}

bool AgentRMI_DeleteSearchesRunnable::invoke() {
    log("invoke");
    const bool areDeleted = gFileSearchMgr->deleteSearches(tokens_);
    if (!areDeleted)
        log("invoke delete search token failed");
    return end(areDeleted);
}
