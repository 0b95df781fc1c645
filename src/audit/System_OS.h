#pragma once

#include "model/System_XMLObject.h"

#include <memory>
#include <string>

/// The operating system of the host. Its name stands beside the name that every object has.
class System_OS : public System_XMLObject<System_OS, System_Object::OS> {
public:
    static XMLSerializable_Table<System_OS> attributes();

    virtual const std::string& getName() const { return name_; }
    /// Null sets the empty text.
    virtual void setName(const char* name) { name_ = textOf(name); }
    using System_Object::operator=;
    virtual System_OS& operator=(const System_OS& other) = default;

private:
    std::string name_;
};

/// A new System_OSLinux; null when memory is short.
std::unique_ptr<System_OS> System_FactoryAllocateOS();
