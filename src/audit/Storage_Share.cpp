#include "audit/Storage_Share.h"

#include "audit/System_Allocate.h"

const XMLSerializable_Attribute<Storage_Share> Storage_Share::attributes_[] = {
    XMLSerializable_Text<&Storage_Share::name_>("name"),
    XMLSerializable_Text<&Storage_Share::path_>("path"),
};

bool Storage_Share::parse(xercesc::DOMElement* element) {
    return parseObject(*this, attributes_, element);
}

bool Storage_Share::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                              xercesc::DOMElement* element) {
    return serializeObject(*this, "Share", attributes_, document, parent, element);
}

Storage_Share& Storage_Share::operator=(const Storage_Share& other) {
    if (this == &other)
        return *this;
    System_Object::operator=(other);
    name_ = other.name_;
    path_ = other.path_;
    return *this;
}

std::unique_ptr<Storage_Share> Storage_FactoryAllocateShare() {
    return System_Allocate<Storage_Share, Storage_ShareLinux>();
}
