#pragma once

#include "model/System_Object.h"

#include <memory>
#include <string>

/// The operating system of the host. Its name stands beside the name that every object has.
class System_OS : public System_Object {
public:
    StorageType getStorageType() const override { return OS; }
    bool parse(xercesc::DOMElement* element) override;
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override;

    virtual const std::string& getName() const { return name_; }
    /// Null sets the empty text.
    virtual void setName(const char* name) { name_ = name != nullptr ? name : ""; }
    using System_Object::operator=;
    virtual System_OS& operator=(const System_OS& other) = default;

private:
    static const XMLSerializable_Attribute<System_OS> attributes_[];

    std::string name_;
};

/// A new System_OSLinux; null when memory is short.
std::unique_ptr<System_OS> System_FactoryAllocateOS();
