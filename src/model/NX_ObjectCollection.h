#pragma once

#include "model/Auditable_Auditable.h"
#include "xml/XMLSerializable_XMLSerializable.h"

#include <string>

class System_AuditFailures;

/// Base of every collection of storage objects. An item that fails does not fail its collection: it is
/// recorded with the failure handler, if there is one, and the audit goes on.
class NX_ObjectCollection : public Auditable_Auditable, public XMLSerializable_XMLSerializable {
public:
    /// `failures` is borrowed and outlives the audit; null for none.
    virtual void registerAuditFailureHandler(System_AuditFailures* failures) { auditFailures_ = failures; }

protected:
    /// `type` is a System_Object::StorageType.
    void recordFailure(const std::string& name, int type) const;

private:
    System_AuditFailures* auditFailures_ = nullptr;
};
