#pragma once

#include "methods/AgentRMI_AuditRunnable.h"
#include "rmi/AgentRMI_GuidMethod.h"

#include <memory>

/// The audit methods: one for the host and one for each level of the storage stack, which answer with what
/// they have found, and one for all levels, which is queued and delivers its result by a call. None takes
/// parameters. An audit that fails is a general failure of its method.
class AgentRMI_MethodAudit : public AgentRMI_GuidMethod {
public:
    using AgentRMI_GuidMethod::AgentRMI_GuidMethod;
    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                xercesc::DOMElement* response) override;

protected:
    enum class Mode { Inline, Queued };

private:
    virtual Mode mode() const { return Mode::Inline; }
    virtual std::unique_ptr<AgentRMI_AuditRunnable> allocateRunnable() const = 0;
};

class AgentRMI_MethodGetLevel : public AgentRMI_MethodAudit {
public:
    /// `level` is a row of Storage_Levels.
    AgentRMI_MethodGetLevel(const AgentRMI_MethodRules& rules, const char* guid, const Storage_Level& level)
        : AgentRMI_MethodAudit(rules, guid), level_(level) {}

private:
    std::unique_ptr<AgentRMI_AuditRunnable> allocateRunnable() const override {
        return std::make_unique<AgentRMI_GetLevelRunnable>(level_);
    }

    const Storage_Level& level_;
};

class AgentRMI_MethodGetStorageSystem : public AgentRMI_MethodAudit {
public:
    using AgentRMI_MethodAudit::AgentRMI_MethodAudit;

private:
    Mode mode() const override { return Mode::Queued; }
    std::unique_ptr<AgentRMI_AuditRunnable> allocateRunnable() const override {
        return std::make_unique<AgentRMI_GetStorageSystemRunnable>();
    }
};

class AgentRMI_MethodGetHostSummary : public AgentRMI_MethodAudit {
public:
    using AgentRMI_MethodAudit::AgentRMI_MethodAudit;

private:
    std::unique_ptr<AgentRMI_AuditRunnable> allocateRunnable() const override {
        return std::make_unique<AgentRMI_GetHostSummaryRunnable>();
    }
};
