#pragma once

#include "model/Auditable_Auditable.h"
#include "threads/Thread_Runnable.h"

class RMI_Method;

/// The work behind a method, run inline or on a pool thread. It keeps what the request said as audit
/// parameters of its own, since the parsed request is gone when a queued job runs; the password among them is
/// wiped when the runnable goes. Of its auditable side only the parameters are used: the audits themselves
/// are done by the objects that receive them.
class Thread_RunnableAuditParams : public Thread_Runnable, public Auditable_Auditable {
public:
    /// RMI_StoreAuditParameters on this object. False for null.
    virtual bool getAuditParamsFromMethod(RMI_Method* method);
    bool prepareForAudit() override { return false; }
    bool cleanupAfterAudit() override { return false; }
    bool audit() override { return false; }
};
