#include "audit/System_OS.h"

const XMLSerializable_Attribute<System_OS> System_OS::attributes_[] = {
    XMLSerializable_Text<&System_OS::name_>("name"),
};

bool System_OS::parse(xercesc::DOMElement* element) {
    return parseObject(*this, attributes_, element);
}

bool System_OS::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                          xercesc::DOMElement* element) {
    return serializeObject(*this, "OS", attributes_, document, parent, element);
}
