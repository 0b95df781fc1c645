#pragma once

#include "audit/Storage_HostSystem.h"
#include "calls/AgentRMI_MethodCallResults.h"
#include "model/System_AuditFailures.h"
#include "rmi/Thread_RunnableAuditParams.h"

#include <atomic>
#include <memory>
#include <vector>

class Storage_Collection;
struct Storage_Level;

/// The work of an audit method. Inline: init, invoke, serializeResult into the reply. Queued: run does the
/// same on a pool thread and delivers the result by a call of the method's name and "Results".
class AgentRMI_AuditRunnable : public Thread_RunnableAuditParams, public AgentRMI_ResultSource {
public:
    /// Sends nothing if the audit failed. What the call throws leaves run.
    void run() override;
    virtual bool init() = 0;
    /// The audit itself. False if it failed or was told to terminate.
    virtual bool invoke() = 0;

protected:
    explicit AgentRMI_AuditRunnable(const char* methodName) { setName(methodName); }

    /// One line about this runnable, named for its method.
    void log(const char* what) const;
    bool isToldToTerminate();
    bool fail() const;
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

/// Audits all levels. Takes the container only when it runs, and holds it until the result has been
/// delivered.
class AgentRMI_GetStorageSystemRunnable : public AgentRMI_AuditRunnable {
public:
    AgentRMI_GetStorageSystemRunnable();

    bool init() override { return true; }
    /// A level that fails is delivered as far as it came, unless all fail.
    bool invoke() override;
    bool serializeResult(xercesc::DOMDocument* document, xercesc::DOMElement* parent) override;

private:
    bool preInvokeInit();
    bool auditAll();

    AgentRMI_ContainerHold hold_;
    System_AuditFailures failures_;
    std::vector<Storage_Collection*> collections_;
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
