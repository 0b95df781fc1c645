#include "methods/AgentRMI_AuditRunnable.h"

#include "log/Debug_Printf.h"
#include "storage/Storage_Container.h"
#include "storage/Storage_DriveExtent.h"
#include "storage/Storage_ExtentPool.h"
#include "storage/Storage_Factory.h"
#include "storage/Storage_PhysicalDrive.h"
#include "storage/Storage_Plex.h"
#include "storage/Storage_StorageAssociations.h"
#include "storage/Storage_StorageVolume.h"

namespace {

/// A collection under both of its faces; both null if there is none.
struct Collection {
    NX_ObjectCollection* audited = nullptr;
    Thread_Terminatable* terminatable = nullptr;
};

struct Layer {
    const char* method;
    /// Makes the collection anew, stores it in the container and gives it back.
    Collection (*allocate)(Storage_Container& container);
};

template <auto factory, auto set, auto get>
Collection allocateIn(Storage_Container& container) {
    (container.*set)(factory());
    auto* collection = (container.*get)();
    return {collection, collection};
}

/// By AgentRMI_Layer.
constexpr Layer layers[] = {
    {"GetPhysicalDrives",
     allocateIn<Storage_FactoryAllocatePhysicalDrives, &Storage_Container::setPhysicalDrives,
                &Storage_Container::getPhysicalDrives>},
    {"GetDriveExtents", allocateIn<Storage_FactoryAllocateDriveExtents, &Storage_Container::setDriveExtents,
                                   &Storage_Container::getDriveExtents>},
    {"GetExtentPools", allocateIn<Storage_FactoryAllocateExtentPools, &Storage_Container::setExtentPools,
                                  &Storage_Container::getExtentPools>},
    {"GetPlexes",
     allocateIn<Storage_FactoryAllocatePlexes, &Storage_Container::setPlexes, &Storage_Container::getPlexes>},
    {"GetStorageVolumes",
     allocateIn<Storage_FactoryAllocateStorageVolumes, &Storage_Container::setStorageVolumes,
                &Storage_Container::getStorageVolumes>},
    {"GetStorageAssociations",
     allocateIn<Storage_FactoryAllocateStorageAssociations, &Storage_Container::setStorageAssociations,
                &Storage_Container::getStorageAssociations>},
};

bool prepareAndAudit(Auditable_Auditable& audited) {
    return audited.prepareForAudit() && audited.audit();
}

} // namespace

void AgentRMI_AuditRunnable::run() {
    AgentRMI_MethodCallResults call(getName());
    call.setHostTarget(getAuditParameterValue("hostTarget"));
    if (!invoke())
        return;
    call.registerRunnable(this);
    call.RMI_MethodCall::invoke();
}

void AgentRMI_AuditRunnable::log(const char* what) const {
    DEBUG_LOG("AgentRMI_%sRunnable::%s\n", getName(), what);
}

bool AgentRMI_AuditRunnable::isToldToTerminate() {
    bool terminate = false;
    if (isTerminateSet(terminate) && !terminate)
        return false;
    log("invoke check terminate");
    return true;
}

bool AgentRMI_AuditRunnable::fail() const {
    log("invoke failure");
    return false;
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

AgentRMI_GetLayerRunnable::AgentRMI_GetLayerRunnable(AgentRMI_Layer layer)
    : AgentRMI_AuditRunnable(layers[layer].method), layer_(layer) {
    hold_.take();
}

bool AgentRMI_GetLayerRunnable::init() {
    const Collection collection = layers[layer_].allocate(*gStorageContainer);
    if (collection.audited == nullptr)
        return false;
    collection_ = collection.audited;
    terminatable_ = collection.terminatable;
    if (!collection_->copyAuditParameters(this))
        return false;
    collection_->registerAuditFailureHandler(&failures_);
    return true;
}

bool AgentRMI_GetLayerRunnable::invoke() {
    log("invoke");
    if (collection_ == nullptr)
        return fail();
    if (!prepareAndAudit(*collection_)) {
        collection_->cleanupAfterAudit();
        log("audit failed");
        return fail();
    }
    if (isToldToTerminate())
        return fail();
    log("invoke success");
    return true;
}

bool AgentRMI_GetLayerRunnable::serializeResult(xercesc::DOMDocument* document, xercesc::DOMElement* parent) {
    if (collection_ == nullptr)
        return false;
    if (!collection_->serialize(document, parent, nullptr)) {
        collection_->cleanupAfterAudit();
        return false;
    }
    failures_.serialize(document, parent, nullptr);
    return collection_->cleanupAfterAudit();
}

bool AgentRMI_GetLayerRunnable::setToTerminate() {
    const bool told = AgentRMI_AuditRunnable::setToTerminate();
    Thread_Terminatable* collection = terminatable_;
    return (collection == nullptr || collection->setToTerminate()) && told;
}

AgentRMI_GetStorageSystemRunnable::AgentRMI_GetStorageSystemRunnable()
    : AgentRMI_AuditRunnable("GetStorageSystem") {}

bool AgentRMI_GetStorageSystemRunnable::invoke() {
    if (auditAll())
        return true;
    fail();
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
    for (std::size_t item = 0; item < collections_.size(); ++item) {
        if (!prepareAndAudit(*collections_[item]))
            DEBUG_LOG("AgentRMI_GetStorageSystemRunnable::audit failed for item %d\n",
                      static_cast<int>(item));
        if (isToldToTerminate())
            return false;
    }
    log("invoke success");
    return true;
}

bool AgentRMI_GetStorageSystemRunnable::preInvokeInit() {
    for (const Layer& layer : layers) {
        NX_ObjectCollection* collection = layer.allocate(*gStorageContainer).audited;
        if (collection == nullptr)
            return false;
        collections_.push_back(collection);
    }
    for (NX_ObjectCollection* collection : collections_) {
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
    for (NX_ObjectCollection* collection : collections_)
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
        return fail();
    if (!prepareAndAudit(*hostSystem_)) {
        hostSystem_->cleanupAfterAudit();
        log("host system audit failed");
        return fail();
    }
    if (isToldToTerminate())
        return fail();
    log("invoke success");
    return true;
}

bool AgentRMI_GetHostSummaryRunnable::serializeResult(xercesc::DOMDocument* document,
                                                      xercesc::DOMElement* parent) {
    const bool written = hostSystem_ != nullptr && hostSystem_->serialize(document, parent, nullptr);
    return hostSystem_ != nullptr && hostSystem_->cleanupAfterAudit() && written;
}
