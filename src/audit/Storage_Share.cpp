#include "audit/Storage_Share.h"

#include "model/System_Allocate.h"

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

std::unique_ptr<Storage_Share> Storage_FactoryAllocateShare() {
    return System_Allocate<Storage_Share, Storage_ShareLinux>();
}
