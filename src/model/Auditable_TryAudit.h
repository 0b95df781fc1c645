#pragma once

#include "model/Auditable_Auditable.h"

/// Prepares and audits. An exception counts as a failure, so that it costs the caller this object and not the
/// rest of its work. After a failure it is for the caller to clean up.
inline bool Auditable_TryAudit(Auditable_Auditable& object) noexcept {
    try {
        return object.prepareForAudit() && object.audit();
    } catch (...) {
        return false;
    }
}
