#include "model/System_AuditFailures.h"

#include "xml/XMLSerializable_Attributes.h"
#include "xml/XMLSerializable_Element.h"

namespace {

constexpr std::size_t maximumFailures = 20001;

constexpr XMLSerializable_Attribute<System_ObjectTypePair> attributes[] = {
    XMLSerializable_Text<&System_ObjectTypePair::getName, nullptr>("name").always(),
    XMLSerializable_Text<&System_ObjectTypePair::getStorageTypeString, nullptr>("type").always(),
};

} // namespace

bool System_AuditFailures::record(const char* name, int type) {
    if (name == nullptr)
        return false;
    if (failures_.size() >= maximumFailures) {
        ++unrecorded_;
        return false;
    }
    return XMLSerializable_Attempt([&] {
        failures_.try_emplace(name, name, type);
        return true;
    });
}

bool System_AuditFailures::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                     xercesc::DOMElement* element) {
    if (failures_.empty())
        return true;
    return XMLSerializable_Attempt([&] {
        XMLSerializable_Element list(document, element, "AuditFailedItems");
        for (const auto& failure : failures_)
            XMLSerializable_WriteAttributes(attributes, failure.second,
                                            Xerces_AppendElement(*list, "FailedObject"));
        list.appendTo(parent);
        return true;
    });
}
