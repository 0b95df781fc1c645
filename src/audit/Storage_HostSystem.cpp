#include "audit/Storage_HostSystem.h"

#include <algorithm>
#include <new>

namespace {

template <typename Object>
std::unique_ptr<Object> copyOf(const Object* original, std::unique_ptr<Object> (*allocate)()) {
    if (original == nullptr)
        return nullptr;
    std::unique_ptr<Object> copy = allocate();
    if (!copy)
        throw std::bad_alloc();
    *copy = *original;
    return copy;
}

} // namespace

XMLSerializable_Table<Storage_HostSystem> Storage_HostSystem::attributes() {
    static constexpr XMLSerializable_Attribute<Storage_HostSystem> table[] = {
        XMLSerializable_Text<&Storage_HostSystem::type_>("type"),
        XMLSerializable_Text<&Storage_HostSystem::domain_>("domain"),
    };
    return table;
}

bool Storage_HostSystem::prepareForAudit() {
    deallocateMachine();
    deallocateOS();
    return ensureOwned();
}

bool Storage_HostSystem::cleanupAfterAudit() {
    if (machine_)
        machine_->cleanupAfterAudit();
    if (os_)
        os_->cleanupAfterAudit();
    deallocateMachine();
    deallocateOS();
    deallocateShares();
    return true;
}

bool Storage_HostSystem::ensureOwned() {
    if (!os_)
        os_ = System_FactoryAllocateOS();
    if (!machine_)
        machine_ = System_FactoryAllocateMachine();
    return os_ && machine_;
}

bool Storage_HostSystem::parseChildren(const xercesc::DOMElement& own) {
    if (!ensureOwned())
        return false;
    for (xercesc::DOMElement* child : Xerces_ChildElements(own)) {
        const std::string name = Xerces_TagName(*child);
        if (name == Storage_Type_Strings[Machine] && !machine_->parse(child))
            return false;
        if (name == Storage_Type_Strings[OS] && !os_->parse(child))
            return false;
    }
    return true;
}

bool Storage_HostSystem::serializeChildren(xercesc::DOMDocument* document, xercesc::DOMElement& own) {
    if (os_ && !os_->serialize(document, &own, nullptr))
        return false;
    if (machine_ && !machine_->serialize(document, &own, nullptr))
        return false;
    xercesc::DOMElement& shares = Xerces_AppendElement(own, "Shares");
    return std::all_of(shares_.begin(), shares_.end(),
                       [&](const auto& share) { return share->serialize(document, &shares, nullptr); });
}

Storage_HostSystem& Storage_HostSystem::operator=(const Storage_HostSystem& other) {
    if (this == &other)
        return *this;
    System_Object::operator=(other);
    type_ = other.type_;
    domain_ = other.domain_;
    machine_ = copyOf(other.machine_.get(), System_FactoryAllocateMachine);
    os_ = copyOf(other.os_.get(), System_FactoryAllocateOS);
    deallocateShares();
    for (const auto& share : other.shares_)
        shares_.push_back(copyOf(share.get(), Storage_FactoryAllocateShare));
    return *this;
}
