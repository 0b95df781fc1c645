#include "model/System_AuditFailures.h"

#include "xml/XMLSerializable_Attributes.h"
#include "xml/XMLSerializable_Element.h"

#include <string_view>

namespace {

constexpr std::size_t maximumFailures = 20001;
/// Of all names: a path may have megabytes, and any user can make many of them.
constexpr std::size_t maximumLength = std::size_t{16} * 1024 * 1024;

constexpr XMLSerializable_Attribute<System_ObjectTypePair> attributes[] = {
    XMLSerializable_Text<&System_ObjectTypePair::getName, nullptr>("name").always(),
    XMLSerializable_Text<&System_ObjectTypePair::getStorageTypeString, nullptr>("type").always(),
};

} // namespace

bool System_AuditFailures::record(const char* name, int type) {
    if (name == nullptr)
        return false;
    const std::string_view text = name;
    if (failures_.size() >= maximumFailures || text.size() > maximumLength - length_) {
        ++unrecorded_;
        return false;
    }
    return XMLSerializable_Attempt([&] {
        if (failures_.try_emplace(std::string(text), name, type).second)
            length_ += text.size();
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
