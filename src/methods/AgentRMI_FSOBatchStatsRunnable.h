#pragma once

#include "base/Memory_Bound.h"
#include "methods/AgentRMI_MethodRunnable.h"

#include <memory>
#include <string>
#include <vector>

/// Counts what lies below each of a number of paths, one after another, and delivers each by a call
/// "FSOStats". What the calls meet stops nothing, and an object for which memory is short is passed over;
/// being told to terminate ends the walk in progress.
class AgentRMI_FSOBatchStatsRunnable : public AgentRMI_MethodRunnable {
public:
    AgentRMI_FSOBatchStatsRunnable();
    ~AgentRMI_FSOBatchStatsRunnable() override;

    /// Takes the children "FSO" of `method`. False if one cannot be read or there is no memory for them.
    bool parseElements(const xercesc::DOMElement& method) override;
    bool invoke() override;
    void run() override { invoke(); }
    /// The object that has been counted last. False if there is none.
    bool serializeResult(xercesc::DOMDocument* document, xercesc::DOMElement* parent) override;

private:
    class Tree;

    bool count(const std::string& text);

    /// As XML, until their turn: a request may name a million, and as objects they would take a gigabyte and
    /// more, for as long as the batch takes.
    std::vector<std::string> objects_;
    Memory_Share objectsShare_;
    std::unique_ptr<Tree> current_;
};
