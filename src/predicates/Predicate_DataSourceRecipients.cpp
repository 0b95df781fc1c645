#include "predicates/Predicate_DataSourceRecipients.h"

#include "base/String_Functions.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <strings.h>

namespace {

/// A double in "%f" has some 300 digits at most.
constexpr std::size_t longestNumber = 400;

bool store(std::string text, std::string* to) {
    if (to == nullptr)
        return false;
    *to = std::move(text);
    return true;
}

} // namespace

Predicate_DataSource* Predicate_FindDataSource(const Predicate_DataSourceMap& sources,
                                               const std::string& nameSpace) {
    const auto found = nameSpace.empty() ? sources.begin() : sources.find(nameSpace);
    return found != sources.end() ? found->second : nullptr;
}

bool Predicate_DataSourceRecipientBoolean::parseValue(const char* text) {
    setValue(text != nullptr && strcasecmp(text, "true") == 0);
    return true;
}

bool Predicate_DataSourceRecipientBoolean::serializeValue(std::string* text) const {
    return store(value_ ? "true" : "false", text);
}

void Predicate_DataSourceRecipientBoolean::setValue(bool value) {
    value_ = value;
    setValueSet(true);
}

bool Predicate_DataSourceRecipientInteger::parseValue(const char* text) {
    if (text == nullptr)
        setValue(0);
    else if (hexFormat_)
        setValue(nxhtoi(text));
    else if (signed_)
        setValue(static_cast<std::uint64_t>(std::strtoll(text, nullptr, 0)));
    else
        setValue(std::strtoull(text, nullptr, 0));
    return true;
}

bool Predicate_DataSourceRecipientInteger::serializeValue(std::string* text) const {
    return store(textOf(value_, signed_, hexFormat_), text);
}

std::string Predicate_DataSourceRecipientInteger::textOf(std::uint64_t value, bool isSigned, bool isHex) {
    if (isSigned && !isHex)
        return std::to_string(static_cast<std::int64_t>(value));
    std::array<char, 2 * sizeof(value) + 4> digits{};
    const auto end = std::to_chars(digits.begin(), digits.end(), value, isHex ? 16 : 10).ptr;
    std::string text(digits.begin(), end);
    if (isHex) {
        nxstrtoupr(text.data());
        text.insert(0, text.size() == 1 ? 1 : 0, '0');
    }
    return text;
}

void Predicate_DataSourceRecipientInteger::setValue(std::uint64_t value) {
    value_ = value;
    setValueSet(true);
}

bool Predicate_DataSourceRecipientFloat::parseValue(const char* text) {
    setValue(text != nullptr ? std::strtod(text, nullptr) : 0);
    return true;
}

bool Predicate_DataSourceRecipientFloat::serializeValue(std::string* text) const {
    std::array<char, longestNumber> digits{};
    const int length = std::snprintf(digits.data(), digits.size(), "%f", value_);
    return store(std::string(digits.data(), static_cast<std::size_t>(length)), text);
}

void Predicate_DataSourceRecipientFloat::setValue(double value) {
    value_ = value;
    setValueSet(true);
}

bool Predicate_DataSourceRecipientString::parseValue(const char* text) {
    setValue(text != nullptr ? text : "");
    return true;
}

bool Predicate_DataSourceRecipientString::serializeValue(std::string* text) const {
    return store(value_, text);
}

void Predicate_DataSourceRecipientString::setValue(std::string_view value) {
    value_ = value;
    setValueSet(true);
}
