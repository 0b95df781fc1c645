#pragma once

#include <string>
#include <utility>

/// A reference to a storage object by name and type (a System_Object::StorageType). It outlives the object,
/// and it is the only kind of reference between objects of different levels. A plain value.
class System_ObjectTypePair {
public:
    System_ObjectTypePair() = default;
    System_ObjectTypePair(std::string name, int type) : name_(std::move(name)), type_(type) {}
    System_ObjectTypePair(const System_ObjectTypePair&) = default;
    System_ObjectTypePair(System_ObjectTypePair&&) = default;
    System_ObjectTypePair& operator=(const System_ObjectTypePair&) = default;
    System_ObjectTypePair& operator=(System_ObjectTypePair&&) = default;
    virtual ~System_ObjectTypePair() = default;

    const std::string& getName() const { return name_; }
    void setName(std::string name) { name_ = std::move(name); }
    int getType() const { return type_; }
    void setType(int type) { type_ = type; }
    /// The type's row of Storage_Type_Strings; empty for a number that is no type.
    const char* getStorageTypeString() const;

private:
    std::string name_;
    int type_ = 0;
};
