#pragma once

#include "predicates/Predicate_DataSource.h"

#include <cstdint>
#include <string>
#include <string_view>

/// Recipients of the plain types.

class Predicate_DataSourceRecipientBoolean : public Predicate_DataSourceRecipient {
public:
    using Value = bool;

    const char* getTypeName() const override { return "boolean"; }
    /// "true" in any case is true, everything else false.
    bool parseValue(const char* text) override;
    bool serializeValue(std::string* text) const override;

    bool getValue() const { return value_; }
    void setValue(bool value);

private:
    bool value_ = false;
};

/// A number of 64 bits, signed or not. Text is read as far as its digits go: as hexadecimal if that is the
/// form, else as strtoull(3) does for base 0, to which a leading 0 means octal.
class Predicate_DataSourceRecipientInteger : public Predicate_DataSourceRecipient {
public:
    using Value = std::uint64_t;

    explicit Predicate_DataSourceRecipientInteger(bool isSigned, bool isHex = false)
        : signed_(isSigned), hexFormat_(isHex) {}

    const char* getTypeName() const override { return signed_ ? "integer" : "uinteger"; }
    bool parseValue(const char* text) override;
    bool serializeValue(std::string* text) const override;

    bool isSigned() const { return signed_; }
    std::uint64_t getValue() const { return value_; }
    void setValue(std::uint64_t value);

    /// As it stands in XML: hexadecimal has capital digits, at least two.
    static std::string textOf(std::uint64_t value, bool isSigned, bool isHex);

private:
    const bool signed_;
    const bool hexFormat_;
    std::uint64_t value_ = 0;
};

class Predicate_DataSourceRecipientFloat : public Predicate_DataSourceRecipient {
public:
    using Value = double;

    const char* getTypeName() const override { return "float"; }
    bool parseValue(const char* text) override;
    bool serializeValue(std::string* text) const override;

    double getValue() const { return value_; }
    void setValue(double value);

private:
    double value_ = 0;
};

class Predicate_DataSourceRecipientString : public Predicate_DataSourceRecipient {
public:
    using Value = std::string;

    explicit Predicate_DataSourceRecipientString(bool isCaseSensitive) : caseSensitive_(isCaseSensitive) {}

    const char* getTypeName() const override { return "string"; }
    bool parseValue(const char* text) override;
    bool serializeValue(std::string* text) const override;

    bool getCaseSensitive() const { return caseSensitive_; }
    const std::string& getValue() const { return value_; }
    /// A text that fits into what the recipient holds needs no memory.
    void setValue(std::string_view value);

private:
    const bool caseSensitive_;
    std::string value_;
};
