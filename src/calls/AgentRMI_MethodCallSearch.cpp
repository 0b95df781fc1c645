#include "calls/AgentRMI_MethodCallSearch.h"

#include "rmi/RMI_MethodCallException.h"
#include "search/FileSearch_Manager.h"
#include "search/FileSearch_ResultPath.h"
#include "threads/MutexLock.h"
#include "xml/Xerces_Document.h"

namespace {

/// False if it has failed in whatever way.
bool wasDelivered(RMI_MethodCall& call, const char* hostTarget) {
    try {
        if (hostTarget != nullptr)
            call.setHostTarget(hostTarget);
        call.invoke();
        return true;
    } catch (...) {
        return false;
    }
}

class AgentFileSearch_ProgressHandler : public FileSearch_ProgressHandler {
public:
    bool handleSearchProgress(const char* token, unsigned long long id, unsigned long long files,
                              unsigned long long dirs, bool& delivered, FileSearchProgressStatus status,
                              const char* hostTarget) override {
        delivered = false;
        if (token == nullptr)
            return false;
        AgentRMI_MethodCallSearchProgress call;
        call.registerProgress(FileSearch_ServerToken(token), id, files, dirs, status);
        delivered = wasDelivered(call, hostTarget);
        return true;
    }
};

class AgentFileSearch_CompleteHandler : public FileSearch_CompleteHandler {
public:
    bool handleSearchComplete(const char* token, bool& delivered, const char* hostTarget) override {
        delivered = false;
        if (token == nullptr)
            return false;
        AgentRMI_MethodCallSearchResultsSummary call;
        call.registerToken(token);
        delivered = wasDelivered(call, hostTarget);
        return true;
    }
};

} // namespace

void AgentRMI_MethodCallSearchProgress::registerProgress(std::string token, unsigned long long id,
                                                         unsigned long long files, unsigned long long dirs,
                                                         FileSearchProgressStatus status) {
    token_ = std::move(token);
    id_ = id;
    files_ = files;
    dirs_ = dirs;
    status_ = status;
}

void AgentRMI_MethodCallSearchProgress::appendParameters(xercesc::DOMDocument* /*document*/,
                                                         xercesc::DOMElement* method) {
    xercesc::DOMElement& progress = Xerces_AppendElement(*method, "Progress");
    if (!token_.empty())
        Xerces_SetAttribute(progress, "token", token_);
    const auto writeNumber = [&](const char* name, unsigned long long number) {
        if (number != 0)
            Xerces_SetAttribute(progress, name, std::to_string(number));
    };
    writeNumber("nxId", id_);
    writeNumber("filesProcessed", files_);
    writeNumber("dirsProcessed", dirs_);
    Xerces_SetAttribute(progress, "progressStatus", FileSearchProgressStatus_String(status_));
}

void AgentRMI_MethodCallSearchResultsSummary::appendParameters(xercesc::DOMDocument* document,
                                                               xercesc::DOMElement* method) {
    const MutexLock lock(&gMutexFileSearch);
    if (!gFileSearchMgr || !gFileSearchMgr->serializeSummary(token_.c_str(), document, method))
        throw RMI_MethodCallException(RMI_MethodCallException::ParametersFailed);
}

std::unique_ptr<FileSearch_ProgressHandler> AgentFileSearch_HandlerFactory::createProgressHandler() {
    return std::make_unique<AgentFileSearch_ProgressHandler>();
}

std::unique_ptr<FileSearch_CompleteHandler> AgentFileSearch_HandlerFactory::createCompleteHandler() {
    return std::make_unique<AgentFileSearch_CompleteHandler>();
}
