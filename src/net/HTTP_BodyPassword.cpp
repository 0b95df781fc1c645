#include "net/HTTP_BodyPassword.h"

#include "base/Secret_Text.h"
#include "net/HTTP_URLEncoding.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

constexpr std::string_view passwordFields[] = {"userPassword", "syspwd"};

bool namesPasswordField(std::string_view text) {
    for (const std::string_view field : passwordFields) {
        if (text.find(field) != std::string_view::npos)
            return true;
    }
    return false;
}

/// XML 1.0, 4.1: "&#" digits ";" or "&#x" hexadecimal digits ";". Nothing but ASCII can be part of a field's
/// name. Returns the length of the reference and sets `character`; 0 if there is none at the start of `text`.
std::size_t asciiReference(std::string_view text, char& character) {
    if (!text.starts_with("&#"))
        return 0;
    const bool hexadecimal = text.substr(2).starts_with('x');
    const std::string_view digits = text.substr(hexadecimal ? 3 : 2);
    const std::size_t end = digits.find_first_not_of(hexadecimal ? "0123456789abcdefABCDEF" : "0123456789");
    if (end == 0 || end == std::string_view::npos || digits[end] != ';')
        return 0;
    const std::string number(digits.substr(0, end));
    const unsigned long value = std::strtoul(number.c_str(), nullptr, hexadecimal ? 16 : 10);
    if (value == 0 || value > 0x7F)
        return 0;
    character = static_cast<char>(value);
    return text.size() - digits.size() + end + 1;
}

Secret_Text withoutCharacterReferences(std::string_view text) {
    Secret_Text plain;
    plain.reserve(text.size());
    while (!text.empty()) {
        char character = text.front();
        const std::size_t reference = asciiReference(text, character);
        plain.append(character);
        text.remove_prefix(reference == 0 ? 1 : reference);
    }
    return plain;
}

} // namespace

bool requestBodyContainsPassword(std::string_view body) {
    return namesPasswordField(body) || namesPasswordField(withoutCharacterReferences(body).view()) ||
           namesPasswordField(
               withoutCharacterReferences(Secret_Text::take(decodeURLEncoding(body)).view()).view());
}
