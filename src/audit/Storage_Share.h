#pragma once

#include "model/System_XMLObject.h"

#include <memory>
#include <string>

/// A directory that the host offers to other hosts. Its name stands beside the name that every object has.
class Storage_Share : public System_XMLObject<Storage_Share, System_Object::Share> {
public:
    static XMLSerializable_Table<Storage_Share> attributes();

    using System_Object::operator=;
    virtual Storage_Share& operator=(const Storage_Share& other) = default;

    const std::string& getName() const { return name_; }
    /// Null sets the empty text.
    void setName(const char* name) { name_ = textOf(name); }
    const std::string& getPath() const { return path_; }
    void setPath(const char* path) { path_ = textOf(path); }

private:
    std::string name_;
    std::string path_;
};

/// Shares are not looked for on Linux: the audit refuses.
class Storage_ShareLinux : public Storage_Share {
public:
    using Storage_Share::operator=;
    bool audit() override { return false; }
};

/// A new Storage_ShareLinux; null when memory is short.
std::unique_ptr<Storage_Share> Storage_FactoryAllocateShare();
