#pragma once

#include "methods/AgentRMI_AuditRunnable.h"
#include "rmi/AgentRMI_GuidMethod.h"

#include <memory>

/// The audit methods: one for the host and one for each layer of the storage stack, which answer with what
/// they have found, and one for all layers, which is queued and delivers its result by a call. None takes
/// parameters. Without a class for a layer, or if the audit fails, the method is a general failure.
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

template <AgentRMI_Layer layer>
class AgentRMI_MethodGetLayer : public AgentRMI_MethodAudit {
public:
    using AgentRMI_MethodAudit::AgentRMI_MethodAudit;

private:
    std::unique_ptr<AgentRMI_AuditRunnable> allocateRunnable() const override {
        return std::make_unique<AgentRMI_GetLayerRunnable>(layer);
    }
};

using AgentRMI_MethodGetPhysicalDrives = AgentRMI_MethodGetLayer<Layer_PhysicalDrives>;
using AgentRMI_MethodGetDriveExtents = AgentRMI_MethodGetLayer<Layer_DriveExtents>;
using AgentRMI_MethodGetExtentPools = AgentRMI_MethodGetLayer<Layer_ExtentPools>;
using AgentRMI_MethodGetPlexes = AgentRMI_MethodGetLayer<Layer_Plexes>;
using AgentRMI_MethodGetStorageVolumes = AgentRMI_MethodGetLayer<Layer_StorageVolumes>;
using AgentRMI_MethodGetStorageAssociations = AgentRMI_MethodGetLayer<Layer_StorageAssociations>;

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
