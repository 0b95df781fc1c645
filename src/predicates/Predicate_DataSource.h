#pragma once

#include <map>
#include <string>

/// Takes a value of one type. For one thread at a time.
class Predicate_DataSourceRecipient {
public:
    virtual ~Predicate_DataSourceRecipient() = default;

    bool getValueSet() const { return valueSet_; }
    void setValueSet(bool isSet) { valueSet_ = isSet; }

    virtual const char* getTypeName() const = 0;
    /// Null is the zero value. False if the text is none of the type.
    virtual bool parseValue(const char* text) = 0;
    virtual bool serializeValue(std::string* text) const = 0;

private:
    bool valueSet_ = false;
};

/// Has values by name, of whatever is looked at. For one thread at a time.
class Predicate_DataSource {
public:
    virtual ~Predicate_DataSource() = default;

    const std::string& getValueNameSpace() const { return valueNameSpace_; }
    /// Null stores the empty name space.
    void setValueNameSpace(const char* nameSpace) { valueNameSpace_ = nameSpace != nullptr ? nameSpace : ""; }

    /// The type of a value; empty if there is none of that name.
    virtual const char* getTypeName(const char* valueName) const = 0;
    /// False if there is no such value, or it is not of the recipient's type.
    virtual bool setRecipientData(const char* valueName, Predicate_DataSourceRecipient* recipient) = 0;

private:
    std::string valueNameSpace_;
};

/// By name space. The sources are borrowed.
using Predicate_DataSourceMap = std::map<std::string, Predicate_DataSource*>;

/// Marks an operand that is no literal but the name of another value of the source.
inline constexpr const char* Predicate_SubstituteMark = "###_";

/// The source of a name space; the first one for the empty name space, null if there is none.
Predicate_DataSource* Predicate_FindDataSource(const Predicate_DataSourceMap& sources,
                                               const std::string& nameSpace);
