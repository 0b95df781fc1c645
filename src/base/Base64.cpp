#include "base/Base64.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace {

constexpr std::string_view Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char Padding = '=';
constexpr std::size_t BytesInGroup = 3;
constexpr std::size_t CharactersInGroup = 4;

/// The text up to its first zero byte.
std::string_view textOf(std::string_view bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

/// A group of up to three bytes, as the upper ones of 24 bits.
void appendEncoded(std::string& out, std::string_view bytes) {
    if (bytes.empty())
        return;
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < BytesInGroup; ++i)
        bits = bits << 8 | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U);
    // n bytes fill n + 1 characters.
    for (std::size_t i = 0; i < CharactersInGroup; ++i)
        out += i <= bytes.size() ? Alphabet[bits >> (18 - 6 * i) & 63U] : Padding;
}

void appendDecoded(std::string& out, std::uint32_t bits) {
    const char bytes[BytesInGroup] = {static_cast<char>(bits >> 16 & 255U),
                                      static_cast<char>(bits >> 8 & 255U), static_cast<char>(bits & 255U)};
    out += textOf(std::string_view(bytes, BytesInGroup));
}

} // namespace

bool encodeBase64(const std::string* in, std::string* out) {
    if (in == nullptr || out == nullptr)
        return false;
    out->clear();
    const std::string_view text = *in;
    out->reserve((text.size() + 2) / BytesInGroup * CharactersInGroup);
    for (std::size_t at = 0; at < text.size(); at += BytesInGroup)
        appendEncoded(*out, textOf(text.substr(at, BytesInGroup)));
    return true;
}

bool decodeBase64(const std::string* in, std::string* out) {
    if (in == nullptr || out == nullptr)
        return false;
    out->clear();
    std::uint32_t bits = 0;
    std::size_t inGroup = 0;
    for (const char c : *in) {
        const std::size_t value = c == Padding ? 0 : Alphabet.find(c);
        if (value == std::string_view::npos)
            continue;
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        if (++inGroup == CharactersInGroup) {
            appendDecoded(*out, bits);
            bits = 0;
            inGroup = 0;
        }
    }
    return inGroup == 0;
}
