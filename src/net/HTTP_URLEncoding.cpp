#include "net/HTTP_URLEncoding.h"

#include <charconv>
#include <cstdlib>

namespace {

constexpr int hexadecimal = 16;
constexpr std::size_t escapeLength = 3;

bool standsForItself(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

char escapedByte(const char* digits) {
    unsigned char byte = 0;
    if (std::from_chars(digits, digits + 2, byte, hexadecimal).ptr == digits + 2)
        return static_cast<char>(byte);
    const char text[] = {digits[0], digits[1], '\0'};
    return static_cast<char>(std::strtol(text, nullptr, hexadecimal));
}

} // namespace

std::size_t HTTP_DecodeInPlace(char* text, std::size_t length) {
    std::size_t decoded = 0;
    for (std::size_t i = 0; i < length; ++i) {
        char c = text[i];
        if (c == '+') {
            c = ' ';
        } else if (c == '%' && length - i >= escapeLength) {
            c = escapedByte(text + i + 1);
            i += escapeLength - 1;
        }
        text[decoded++] = c;
    }
    return decoded;
}

std::string decodeURLEncoding(std::string_view text) {
    std::string decoded(text);
    decoded.resize(HTTP_DecodeInPlace(decoded.data(), decoded.size()));
    return decoded;
}

std::string encodeURLEncoding(std::string_view text) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size() + text.size() / 5 + 16);
    for (const char c : text) {
        if (standsForItself(c)) {
            encoded += c;
        } else if (c == ' ') {
            encoded += '+';
        } else {
            const auto byte = static_cast<unsigned char>(c);
            encoded += '%';
            encoded += digits[byte / hexadecimal];
            encoded += digits[byte % hexadecimal];
        }
    }
    return encoded;
}
