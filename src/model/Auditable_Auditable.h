#pragma once

#include "base/Secret_Text.h"

#include <map>
#include <memory>
#include <string>

class Host_Host;

/// Root of everything that can be audited.
///
/// The caller of an audit does this: prepareForAudit (false: not to be audited), audit (false: it failed,
/// then cleanupAfterAudit), use the result, cleanupAfterAudit. What a request said travels along as audit
/// parameters, text under a text key; the user's password is among them, so their memory is wiped when they
/// go. So does the host that is audited, which whoever audits a part hands on to it. An object belongs to one
/// thread at a time.
class Auditable_Auditable {
public:
    Auditable_Auditable() = default;
    Auditable_Auditable(const Auditable_Auditable&) = delete;
    Auditable_Auditable& operator=(const Auditable_Auditable&) = delete;
    virtual ~Auditable_Auditable();

    virtual bool getAuditResult() const { return auditResult_; }
    virtual void setAuditResult(bool result) { auditResult_ = result; }
    /// Null if the key is null or has no value. Valid as long as this object.
    virtual const char* getAuditParameterValue(const char* key) const;
    /// A key that has a value keeps it. False only for a null argument.
    virtual bool setAuditParameterValue(const char* key, const char* value);
    /// Sets every pair of `from` here, and its host if it was given one. False if `from` is null.
    virtual bool copyAuditParameters(const Auditable_Auditable* from);
    /// For an object that stays when its audit is over.
    void dropAuditParameters() noexcept { parameters_.reset(); }
    virtual bool prepareForAudit() { return true; }
    virtual bool cleanupAfterAudit() { return true; }
    virtual bool audit() = 0;
    /// Whether setAudited was ever called: there is no way back.
    virtual bool hasAudited() const { return audited_; }
    virtual void setAudited() { audited_ = true; }

    /// The machine that this process runs on, unless another host was set.
    Host_Host& getHost() const;
    /// `host` is borrowed and outlives this object.
    void setHost(Host_Host& host) { host_ = &host; }

private:
    using Parameters = std::map<std::string, Secret_Text, std::less<>>;

    bool auditResult_ = false;
    bool audited_ = false;
    Host_Host* host_ = nullptr;
    /// Only few of the many objects of an audit have parameters.
    std::unique_ptr<Parameters> parameters_;
};
