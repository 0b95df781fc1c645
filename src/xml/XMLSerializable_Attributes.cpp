#include "xml/XMLSerializable_Attributes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <strings.h>

namespace {

/// The largest number of 64 bits with its sign.
constexpr std::size_t longestNumber = 20;

template <typename Number>
std::string_view writeNumber(Number number, std::string& out) {
    std::array<char, longestNumber> digits{};
    const auto end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    return out.assign(digits.begin(), end);
}

long readLong(const std::string& text) {
    return std::strtol(text.c_str(), nullptr, 10);
}

} // namespace

bool XMLSerializable_IsSet(const XMLSerializable_Value& value) {
    return std::visit(
        [](const auto& held) {
            if constexpr (std::same_as<decltype(held), const std::string_view&>)
                return !held.empty();
            else
                return held != 0;
        },
        value);
}

std::string_view XMLSerializable_TextOf(const XMLSerializable_Value& value, std::string& scratch) {
    return std::visit(
        [&scratch](const auto& held) -> std::string_view {
            using Held = std::remove_cvref_t<decltype(held)>;
            if constexpr (std::same_as<Held, std::string_view>)
                return held;
            else if constexpr (std::same_as<Held, bool>)
                return held ? "true" : "false";
            else
                return writeNumber(held, scratch);
        },
        value);
}

Secret_Text XMLSerializable_ReadText(const xercesc::DOMElement& element, const char* name,
                                     const char* expected) {
    Secret_Text text = Secret_Text::take(Xerces_GetAttribute(element, name));
    if (text.empty() && expected != nullptr)
        throw XMLSerializable_Refusal(Xerces_TagName(element) + ": attribute \"" + name +
                                      "\" is missing or empty; expected " + expected);
    return text;
}

bool XMLSerializable_ReadFlag(const std::string& text) {
    return strncasecmp(text.c_str(), "true", 4) == 0;
}

std::uint64_t XMLSerializable_ReadUnsigned(const std::string& text) {
    return std::strtoull(text.c_str(), nullptr, 0);
}

template <>
int XMLSerializable_ReadDecimal<int>(const std::string& text) {
    return static_cast<int>(
        std::clamp<long>(readLong(text), std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

template <>
unsigned XMLSerializable_ReadDecimal<unsigned>(const std::string& text) {
    return static_cast<unsigned>(readLong(text));
}
