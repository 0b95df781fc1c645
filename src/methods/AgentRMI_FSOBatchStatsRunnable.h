#pragma once

#include "calls/AgentRMI_MethodCallResults.h"
#include "files/System_FileSystemObjectLinux.h"
#include "methods/AgentRMI_MethodRunnable.h"

#include <memory>
#include <vector>

/// Counts what lies below each of a number of paths, one after another, and delivers each by a call
/// "FSOStats". What the calls meet stops nothing; being told to terminate ends the walk in progress.
class AgentRMI_FSOBatchStatsRunnable : public AgentRMI_MethodRunnable {
public:
    AgentRMI_FSOBatchStatsRunnable() : AgentRMI_MethodRunnable("GetFSOBatchStats") {}

    /// Takes the children "FSO" of `method`. False, and none, if one cannot be read.
    bool parseElements(const xercesc::DOMElement& method) override;
    bool invoke() override;
    void run() override { invoke(); }
    /// The object that has been counted last. False if there is none.
    bool serializeResult(xercesc::DOMDocument* document, xercesc::DOMElement* parent) override;

private:
    class Tree;

    std::vector<std::unique_ptr<System_FileSystemObjectLinux>> objects_;
    std::size_t current_ = 0;
};
