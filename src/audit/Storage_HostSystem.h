#pragma once

#include "audit/Storage_Share.h"
#include "audit/System_Machine.h"
#include "audit/System_OS.h"

#include <memory>
#include <string>
#include <vector>

/// The host summary: the host with its operating system, its machine and its shares, all of which it owns.
/// They are there from prepareForAudit to cleanupAfterAudit. The host name is the machine's name.
class Storage_HostSystem : public System_XMLObject<Storage_HostSystem, System_Object::HostSystem> {
public:
    static XMLSerializable_Table<Storage_HostSystem> attributes();
    bool parseChildren(const xercesc::DOMElement& own);
    bool serializeChildren(xercesc::DOMDocument* document, xercesc::DOMElement& own);

    bool prepareForAudit() override;
    bool cleanupAfterAudit() override;

    virtual void deallocateMachine() { machine_.reset(); }
    virtual void deallocateOS() { os_.reset(); }
    virtual void deallocateShares() { shares_.clear(); }
    using System_Object::operator=;
    /// Copies what the other one owns.
    virtual Storage_HostSystem& operator=(const Storage_HostSystem& other);

    const std::string& getType() const { return type_; }
    /// Null sets the empty text.
    void setType(const char* type) { type_ = textOf(type); }
    const std::string& getDomain() const { return domain_; }
    void setDomain(const char* domain) { domain_ = textOf(domain); }
    /// Null if there is none.
    System_Machine* getMachine() const { return machine_.get(); }
    System_OS* getOS() const { return os_.get(); }
    std::vector<std::unique_ptr<Storage_Share>>& getShares() { return shares_; }

private:
    bool ensureOwned();

    std::string type_;
    std::string domain_;
    std::unique_ptr<System_Machine> machine_;
    std::unique_ptr<System_OS> os_;
    std::vector<std::unique_ptr<Storage_Share>> shares_;
};

/// A new Storage_HostSystemLinux; null when memory is short.
std::unique_ptr<Storage_HostSystem> Storage_FactoryAllocateHostSystem();
