#pragma once

#include "audit/Storage_HostSystem.h"
#include "methods/AgentRMI_MethodRunnable.h"
#include "model/System_AuditFailures.h"

#include <cstddef>
#include <memory>
#include <vector>

class Storage_Collection;
struct Storage_Level;

/// The work of an audit method. Queued, its result is delivered by a call of the method's name and "Results".
class AgentRMI_AuditRunnable : public AgentRMI_MethodRunnable {
public:
    using AgentRMI_MethodRunnable::AgentRMI_MethodRunnable;

    /// Sends nothing if the audit failed. What the call throws leaves run.
    void run() override;
};

/// Holds the container for as long as a request uses it, emptied at the start. For one thread.
class AgentRMI_ContainerHold {
public:
    AgentRMI_ContainerHold() = default;
    AgentRMI_ContainerHold(const AgentRMI_ContainerHold&) = delete;
    AgentRMI_ContainerHold& operator=(const AgentRMI_ContainerHold&) = delete;
    ~AgentRMI_ContainerHold() { release(); }

    /// Waits until every other storage request has ended. False if the lock cannot be had.
    bool take();
    void release();

private:
    bool held_ = false;
};

/// Audits one level of the storage stack and what it needs of the others. Holds the container from its
/// construction to its end, so the lock covers the audit and the writing of its result.
class AgentRMI_GetLevelRunnable : public AgentRMI_AuditRunnable {
public:
    /// `level` is a row of Storage_Levels.
    explicit AgentRMI_GetLevelRunnable(const Storage_Level& level);

    bool init() override;
    bool invoke() override;
    bool serializeResult(xercesc::DOMDocument* document, xercesc::DOMElement* parent) override;
    /// Reaches the collection too, so that an audit in progress stops between two objects.
    bool setToTerminate() override;

private:
    AgentRMI_ContainerHold hold_;
    System_AuditFailures failures_;
    const Storage_Level& level_;
    /// Set before the runnable is known to any other thread than the one that made it.
    Storage_Collection* collection_ = nullptr;
};

/// The reason with which a queued audit is refused.
constexpr const char* AgentRMI_TooManyAudits = "maximum system audits in progress";

/// Audits all levels. Takes the container only when it runs, and holds it until the result has been
/// delivered.
class AgentRMI_GetStorageSystemRunnable : public AgentRMI_AuditRunnable {
public:
    AgentRMI_GetStorageSystemRunnable();
    ~AgentRMI_GetStorageSystemRunnable() override;

    /// Throws RMI_MethodException with AgentRMI_TooManyAudits if those that wait hold too much already.
    bool getAuditParamsFromMethod(RMI_Method* method) override;

    /// A level that fails is delivered as far as it came, unless all fail.
    bool invoke() override;
    bool serializeResult(xercesc::DOMDocument* document, xercesc::DOMElement* parent) override;

private:
    bool preInvokeInit();
    bool auditAll();

    AgentRMI_ContainerHold hold_;
    System_AuditFailures failures_;
    std::vector<Storage_Collection*> collections_;
    std::size_t bytesWaiting_ = 0; ///< counted among those of all
};

/// Audits host, operating system and machine. Does not use the container and so never waits for another
/// audit.
class AgentRMI_GetHostSummaryRunnable : public AgentRMI_AuditRunnable {
public:
    AgentRMI_GetHostSummaryRunnable();

    /// Only ever called inline.
    void run() override {}
    bool init() override;
    bool invoke() override;
    bool serializeResult(xercesc::DOMDocument* document, xercesc::DOMElement* parent) override;

private:
    std::unique_ptr<Storage_HostSystem> hostSystem_;
};
