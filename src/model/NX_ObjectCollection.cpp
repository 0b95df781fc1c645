#include "model/NX_ObjectCollection.h"

#include "model/System_AuditFailures.h"

void NX_ObjectCollection::recordFailure(const std::string& name, int type) const {
    if (auditFailures_ != nullptr)
        auditFailures_->record(name.c_str(), type);
}
