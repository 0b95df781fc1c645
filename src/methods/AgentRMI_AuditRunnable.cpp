#include "methods/AgentRMI_AuditRunnable.h"

#include "log/Debug_Printf.h"
#include "model/Auditable_TryAudit.h"
#include "rmi/RMI_RequestAttributes.h"
#include "storage/Storage_Container.h"

#include <atomic>
#include <cstring>

namespace {

/// What all queued audits may hold. Nobody waits for their results, so nothing else would keep a stranger
/// from queueing them until the host's memory is gone. Room for some 8,000.
constexpr std::size_t mostWaiting = std::size_t{16} << 20;
/// Of one of them beside its texts.
constexpr std::size_t bytesOfRunnable = 2048;

std::atomic<std::size_t> waiting{0};

} // namespace

void AgentRMI_AuditRunnable::run() {
    AgentRMI_MethodCallResults call((std::string(getName()) + "Results").c_str());
    call.setHostTarget(getAuditParameterValue("hostTarget"));
    if (!invoke())
        return;
    call.registerRunnable(this);
    call.RMI_MethodCall::invoke();
}

bool AgentRMI_ContainerHold::take() {
    if (!gStorageContainer->lock())
        return false;
    held_ = true;
    gStorageContainer->clear();
    return true;
}

void AgentRMI_ContainerHold::release() {
    if (held_)
        gStorageContainer->unlock();
    held_ = false;
}

AgentRMI_GetLevelRunnable::AgentRMI_GetLevelRunnable(const Storage_Level& level)
    : AgentRMI_AuditRunnable(level.method), level_(level) {
    hold_.take();
}

bool AgentRMI_GetLevelRunnable::init() {
    collection_ = gStorageContainer->allocate(level_.type);
    if (collection_ == nullptr || !collection_->copyAuditParameters(this))
        return false;
    collection_->registerAuditFailureHandler(&failures_);
    return true;
}

bool AgentRMI_GetLevelRunnable::invoke() {
    log("invoke");
    if (collection_ == nullptr)
        return end(false);
    if (!Auditable_TryAudit(*collection_)) {
        collection_->cleanupAfterAudit();
        log("audit failed");
        return end(false);
    }
    return end(!mustStop());
}

bool AgentRMI_GetLevelRunnable::serializeResult(xercesc::DOMDocument* document, xercesc::DOMElement* parent) {
    if (collection_ == nullptr)
        return false;
    if (!collection_->serialize(document, parent, nullptr)) {
        collection_->cleanupAfterAudit();
        return false;
    }
    failures_.serialize(document, parent, nullptr);
    return collection_->cleanupAfterAudit();
}

bool AgentRMI_GetLevelRunnable::setToTerminate() {
    const bool told = AgentRMI_AuditRunnable::setToTerminate();
    return (collection_ == nullptr || collection_->setToTerminate()) && told;
}

AgentRMI_GetStorageSystemRunnable::AgentRMI_GetStorageSystemRunnable()
    : AgentRMI_AuditRunnable("GetStorageSystem") {}

AgentRMI_GetStorageSystemRunnable::~AgentRMI_GetStorageSystemRunnable() {
    waiting -= bytesWaiting_;
}

bool AgentRMI_GetStorageSystemRunnable::getAuditParamsFromMethod(RMI_Method* method) {
    if (!AgentRMI_AuditRunnable::getAuditParamsFromMethod(method))
        return false;
    bytesWaiting_ = bytesOfRunnable;
    for (const RMI_RequestAttribute& row : RMI_RequestAttributes()) {
        if (row.isAuditParameter)
            bytesWaiting_ += std::strlen(getAuditParameterValue(row.name));
    }
    if (waiting.fetch_add(bytesWaiting_) + bytesWaiting_ > mostWaiting)
        throw RMI_MethodException(RMI_MethodException::GeneralFailure, AgentRMI_TooManyAudits);
    return true;
}

bool AgentRMI_GetStorageSystemRunnable::invoke() {
    if (auditAll())
        return true;
    end(false);
    hold_.release();
    return false;
}

bool AgentRMI_GetStorageSystemRunnable::auditAll() {
    if (!hold_.take()) {
        log("invoke did not have a lock on the storage container object");
        return false;
    }
    if (!preInvokeInit()) {
        log("invoke could not init the storage container object");
        return false;
    }
    bool anyAudited = false;
    for (std::size_t item = 0; item < collections_.size(); ++item) {
        Storage_Collection& collection = *collections_[item];
        // The audit of another level may have needed this one.
        if (collection.hasAudited() || Auditable_TryAudit(collection))
            anyAudited = true;
        else
            DEBUG_LOG("AgentRMI_GetStorageSystemRunnable::audit failed for item %d\n",
                      static_cast<int>(item));
        if (mustStop())
            return false;
    }
    // A server would take it for a host without any storage.
    if (!anyAudited) {
        log("invoke could not audit any level");
        return false;
    }
    return end(true);
}

bool AgentRMI_GetStorageSystemRunnable::preInvokeInit() {
    for (const Storage_Level& level : Storage_Levels) {
        Storage_Collection* collection = gStorageContainer->allocate(level.type);
        if (collection == nullptr)
            return false;
        collections_.push_back(collection);
    }
    for (Storage_Collection* collection : collections_) {
        if (!collection->copyAuditParameters(this))
            return false;
        collection->registerAuditFailureHandler(&failures_);
    }
    return true;
}

bool AgentRMI_GetStorageSystemRunnable::serializeResult(xercesc::DOMDocument* document,
                                                        xercesc::DOMElement* parent) {
    for (std::size_t item = 0; item < collections_.size(); ++item) {
        if (!collections_[item]->serialize(document, parent, nullptr))
            DEBUG_LOG("AgentRMI_GetStorageSystemRunnable::serializeResult failed for item %d\n",
                      static_cast<int>(item));
    }
    failures_.serialize(document, parent, nullptr);
    for (Storage_Collection* collection : collections_)
        collection->cleanupAfterAudit();
    return true;
}

AgentRMI_GetHostSummaryRunnable::AgentRMI_GetHostSummaryRunnable()
    : AgentRMI_AuditRunnable("GetHostSummary") {}

bool AgentRMI_GetHostSummaryRunnable::init() {
    hostSystem_ = Storage_FactoryAllocateHostSystem();
    return hostSystem_ != nullptr && hostSystem_->copyAuditParameters(this);
}

bool AgentRMI_GetHostSummaryRunnable::invoke() {
    if (hostSystem_ == nullptr)
        return end(false);
    if (!Auditable_TryAudit(*hostSystem_)) {
        hostSystem_->cleanupAfterAudit();
        log("host system audit failed");
        return end(false);
    }
    return end(!mustStop());
}

bool AgentRMI_GetHostSummaryRunnable::serializeResult(xercesc::DOMDocument* document,
                                                      xercesc::DOMElement* parent) {
    const bool written = hostSystem_ != nullptr && hostSystem_->serialize(document, parent, nullptr);
    return hostSystem_ != nullptr && hostSystem_->cleanupAfterAudit() && written;
}
