#include "audit/Storage_HostSystem.h"

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

const XMLSerializable_Attribute<Storage_HostSystem> Storage_HostSystem::attributes_[] = {
    XMLSerializable_Text<&Storage_HostSystem::type_>("type"),
    XMLSerializable_Text<&Storage_HostSystem::domain_>("domain"),
};

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

bool Storage_HostSystem::parse(xercesc::DOMElement* element) {
    if (!parseObject(*this, attributes_, element) || !ensureOwned())
        return false;
    return XMLSerializable_Attempt([&] {
        for (xercesc::DOMElement* child : Xerces_ChildElements(*element)) {
            const std::string name = Xerces_TagName(*child);
            if (name == "Machine" && !machine_->parse(child))
                return false;
            if (name == "OS" && !os_->parse(child))
                return false;
        }
        return true;
    });
}

bool Storage_HostSystem::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                   xercesc::DOMElement* element) {
    return XMLSerializable_Attempt([&] { return writeForm(document, parent, element); });
}

bool Storage_HostSystem::writeForm(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                   xercesc::DOMElement* element) {
    XMLSerializable_Element form(document, element, "HostSystem");
    if (!System_Object::serialize(document, parent, form.get()))
        return false;
    const bool writeSelf = (getSerializationOptions() & System_SerializeSelf) != 0;
    if (writeSelf)
        XMLSerializable_WriteAttributes(attributes_, *this, *form);
    if (os_ && !os_->serialize(document, form.get(), nullptr))
        return false;
    if (machine_ && !machine_->serialize(document, form.get(), nullptr))
        return false;
    xercesc::DOMElement& shares = Xerces_AppendElement(*form, "Shares");
    for (const auto& share : shares_)
        if (!share->serialize(document, &shares, nullptr))
            return false;
    if (writeSelf)
        form.appendTo(parent);
    return true;
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
