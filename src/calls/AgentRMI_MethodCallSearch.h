#pragma once

#include "rmi/AgentRMI_HTTPMethodCall.h"
#include "search/FileSearch_Handlers.h"

#include <string>

/// The calls with which the server is told of a search, and the handlers that make them. A server that cannot
/// be reached, or refuses a call, keeps no search from anything.

/// How far the walk of a volume has come.
class AgentRMI_MethodCallSearchProgress : public AgentRMI_HTTPMethodCall {
public:
    AgentRMI_MethodCallSearchProgress() : AgentRMI_HTTPMethodCall("SearchProgress") {}

    /// `token` is what the server knows the search by, `id` what it knows the volume by.
    void registerProgress(std::string token, unsigned long long id, unsigned long long files,
                          unsigned long long dirs, FileSearchProgressStatus status);
    void appendParameters(xercesc::DOMDocument* document, xercesc::DOMElement* method) override;

private:
    std::string token_;
    unsigned long long id_ = 0;
    unsigned long long files_ = 0;
    unsigned long long dirs_ = 0;
    FileSearchProgressStatus status_ = FileSearchProgressStatus::OK;
};

/// What a search has found. The call fails if it is not known any more.
class AgentRMI_MethodCallSearchResultsSummary : public AgentRMI_HTTPMethodCall {
public:
    AgentRMI_MethodCallSearchResultsSummary() : AgentRMI_HTTPMethodCall("SearchResultsSummary") {}

    /// `token` is what the manager knows the search by.
    void registerToken(std::string token) { token_ = std::move(token); }
    void appendParameters(xercesc::DOMDocument* document, xercesc::DOMElement* method) override;

private:
    std::string token_;
};

class AgentFileSearch_HandlerFactory : public FileSearch_HandlerFactory {
public:
    std::unique_ptr<FileSearch_ProgressHandler> createProgressHandler() override;
    std::unique_ptr<FileSearch_CompleteHandler> createCompleteHandler() override;
};
