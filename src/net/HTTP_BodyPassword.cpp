#include "net/HTTP_BodyPassword.h"

#include "base/Secret_Text.h"
#include "net/HTTP_Text.h"
#include "net/HTTP_URLEncoding.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>

namespace {

constexpr std::string_view passwordFields[] = {"userPassword", "syspwd"};

/// Escapes are taken out of a copy, and of no more than this.
constexpr std::size_t largestCopied = std::size_t{1024} * 1024;

/// Encodings in which the letters of ASCII are their own bytes.
constexpr std::string_view readableEncodings[] = {"UTF-8", "US-ASCII", "ISO-8859-1", "windows-1252"};

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

bool isReadableEncoding(std::string_view name) {
    return std::any_of(std::begin(readableEncodings), std::end(readableEncodings),
                       [name](std::string_view readable) { return HTTP_EqualsIgnoringCase(name, readable); });
}

/// The encoding that an XML declaration in the text names; empty if there is none.
std::string_view declaredEncoding(std::string_view text) {
    const std::size_t begin = text.find("<?xml");
    if (begin == std::string_view::npos)
        return {};
    const std::string_view declaration = text.substr(begin, text.find("?>", begin) - begin);
    const std::size_t name = declaration.find("encoding");
    const std::size_t open = name == std::string_view::npos ? name : declaration.find_first_of("\"'", name);
    if (open == std::string_view::npos)
        return {};
    return declaration.substr(open + 1, declaration.find(declaration[open], open + 1) - open - 1);
}

std::size_t continuationsAfter(unsigned char lead) {
    if (lead >= 0xF0)
        return 3;
    return lead >= 0xE0 ? 2 : 1;
}

/// Text of UTF-8, near enough to be read by people, without control characters.
bool isReadableText(std::string_view text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        if (byte >= 0x20 && byte < 0x7F)
            continue;
        if (byte < 0x80) {
            if (byte != '\t' && byte != '\n' && byte != '\r')
                return false;
            continue;
        }
        if (byte < 0xC2 || byte > 0xF4)
            return false;
        for (std::size_t more = continuationsAfter(byte); more != 0; --more) {
            if (++at == text.size() || (static_cast<unsigned char>(text[at]) & 0xC0) != 0x80)
                return false;
        }
    }
    return true;
}

} // namespace

bool requestBodyContainsPassword(std::string_view body) {
    if (namesPasswordField(body))
        return true;
    const bool referenced = body.find("&#") != std::string_view::npos;
    const bool encoded = body.find('%') != std::string_view::npos;
    if (!referenced && !encoded)
        return false;
    return body.size() > largestCopied || namesPasswordField(withoutCharacterReferences(body).view()) ||
           namesPasswordField(
               withoutCharacterReferences(Secret_Text::take(decodeURLEncoding(body)).view()).view());
}

bool HTTP_IsFreeOfPasswords(std::string_view body) {
    const std::string_view encoding = declaredEncoding(body);
    return (encoding.empty() || isReadableEncoding(encoding)) && isReadableText(body) &&
           !requestBodyContainsPassword(body);
}
