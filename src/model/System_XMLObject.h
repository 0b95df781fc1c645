#pragma once

#include "model/System_Object.h"
#include "xml/XMLSerializable_Attributes.h"
#include "xml/XMLSerializable_Element.h"

/// The XML form of a storage object, from what its class says of itself: the element is named for its type,
/// and carries the attributes of System_Object and then those of `Self`, which may hide the protected
/// functions below by public ones of its own.
///
///     class Storage_Disk : public System_XMLObject<Storage_Disk, System_Object::PhysicalDrive> {
///     public:
///         static XMLSerializable_Table<Storage_Disk> attributes();
template <typename Self, System_Object::StorageType Type>
class System_XMLObject : public System_Object {
public:
    static constexpr StorageType storageType = Type;

    StorageType getStorageType() const override { return Type; }

    bool parse(xercesc::DOMElement* element) override {
        return System_Object::parse(element) && XMLSerializable_Attempt([&] {
                   XMLSerializable_ReadAttributes(Self::attributes(), self(), *element);
                   return self().parseChildren(*element);
               });
    }

    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override {
        return XMLSerializable_Attempt([&] {
            XMLSerializable_Element form(document, element, Storage_Type_Strings[Type]);
            if (!System_Object::serialize(document, parent, form.get()))
                return false;
            const bool writesSelf = (getSerializationOptions() & System_SerializeSelf) != 0;
            if (writesSelf)
                XMLSerializable_WriteAttributes(Self::attributes(), self(), *form);
            if (!self().serializeChildren(document, *form))
                return false;
            if (writesSelf)
                form.appendTo(parent);
            return true;
        });
    }

    using System_Object::operator=;

protected:
    /// By default there are none.
    static XMLSerializable_Table<Self> attributes() { return {}; }
    /// Takes in what stands below the object's element. Like parse, but may throw.
    bool parseChildren(const xercesc::DOMElement& /*own*/) { return true; }
    /// Appends to the object's element what belongs below it. Like serialize, but may throw.
    bool serializeChildren(xercesc::DOMDocument* /*document*/, xercesc::DOMElement& /*own*/) { return true; }

private:
    Self& self() { return static_cast<Self&>(*this); }
};
