#include "audit/System_Machine.h"

const XMLSerializable_Attribute<System_Machine> System_Machine::attributes_[] = {
    XMLSerializable_Text<&System_Machine::type_>("type"),
    XMLSerializable_Text<&System_Machine::domain_>("domain"),
    XMLSerializable_Text<&System_Machine::name_>("name"),
    XMLSerializable_Text<&System_Machine::manufacturer_>("manufacturer"),
    XMLSerializable_Text<&System_Machine::model_>("model"),
    XMLSerializable_Text<&System_Machine::serialNumber_>("serialNumber"),
    {"gmtOffset",
     [](const System_Machine& machine, std::string& text) {
         text = std::to_string(machine.gmtOffset_);
         return machine.gmtOffset_ != 0;
     },
     [](System_Machine& machine, const std::string& text) {
         machine.gmtOffset_ = XMLSerializable_ReadInteger(text);
     }},
    XMLSerializable_SetFlag<&System_Machine::daylight_>("daylight"),
};

bool System_Machine::parse(xercesc::DOMElement* element) {
    return parseObject(*this, attributes_, element);
}

bool System_Machine::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                               xercesc::DOMElement* element) {
    return serializeObject(*this, "Machine", attributes_, document, parent, element);
}
