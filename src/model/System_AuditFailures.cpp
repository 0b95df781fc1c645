#include "model/System_AuditFailures.h"

#include "model/XMLSerializable_Element.h"
#include "xml/Xerces_Document.h"

namespace {

constexpr std::size_t maximumFailures = 20001;

} // namespace

bool System_AuditFailures::record(const char* name, int type) {
    if (name == nullptr || failures_.size() >= maximumFailures)
        return false;
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
        for (const auto& failure : failures_) {
            xercesc::DOMElement& item = Xerces_AppendElement(*list, "FailedObject");
            Xerces_SetAttribute(item, "name", failure.second.getName());
            Xerces_SetAttribute(item, "type", failure.second.getStorageTypeString());
        }
        list.appendTo(parent);
        return true;
    });
}
