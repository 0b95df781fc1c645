#include "xml/Xerces_Text.h"

#include <algorithm>
#include <array>

namespace {

constexpr char32_t mappedFirst = 0xEF00;
constexpr char32_t mappedLast = 0xEFFF;
constexpr char32_t replacement = 0xFFFD;

constexpr bool isControl(char32_t c) {
    return c < 0x20 && c != '\t' && c != '\n' && c != '\r';
}

constexpr bool isSurrogate(char32_t c) {
    return c >= 0xD800 && c <= 0xDFFF;
}

constexpr bool isNoncharacter(char32_t c) {
    return c == 0xFFFE || c == 0xFFFF;
}

/// Whether `byte` is one that the mapping sends to U+EF00 plus itself.
constexpr bool isMapped(char32_t byte) {
    return byte != 0 && (byte >= 0x80 || isControl(byte));
}

/// Bytes that stand for themselves whatever follows them.
constexpr bool isPlain(unsigned char byte) {
    return byte < 0x80 && !isControl(byte);
}

constexpr bool isContinuation(std::string_view text, std::size_t at) {
    return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
}

/// Whether a document can hold the code point as itself without being taken for a mapped byte.
constexpr bool standsForItself(char32_t c) {
    return !isControl(c) && !isNoncharacter(c) && (c < mappedFirst || c > mappedLast);
}

std::size_t writeUnits(char32_t codePoint, char16_t* units) {
    if (codePoint < 0x10000) {
        units[0] = static_cast<char16_t>(codePoint);
        return 1;
    }
    codePoint -= 0x10000;
    units[0] = static_cast<char16_t>(0xD800 + (codePoint >> 10));
    units[1] = static_cast<char16_t>(0xDC00 + (codePoint & 0x3FF));
    return 2;
}

void appendCodePoint(std::string& out, char32_t c) {
    std::array<char, 4> bytes; // NOLINT(cppcoreguidelines-pro-type-member-init): written below
    std::size_t length = 0;
    if (c < 0x80) {
        bytes[length++] = static_cast<char>(c);
    } else {
        if (c < 0x800) {
            bytes[length++] = static_cast<char>(0xC0 | (c >> 6));
        } else {
            if (c < 0x10000) {
                bytes[length++] = static_cast<char>(0xE0 | (c >> 12));
            } else {
                bytes[length++] = static_cast<char>(0xF0 | (c >> 18));
                bytes[length++] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            }
            bytes[length++] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        }
        bytes[length++] = static_cast<char>(0x80 | (c & 0x3F));
    }
    out.append(bytes.data(), length);
}

/// The code point at `at`, which moves behind it; a lone surrogate reads as U+FFFD.
char32_t nextCodePoint(std::u16string_view units, std::size_t& at) {
    const char32_t unit = units[at++];
    if (!isSurrogate(unit))
        return unit;
    const bool paired = unit < 0xDC00 && at < units.size() && units[at] >= 0xDC00 && units[at] <= 0xDFFF;
    if (!paired)
        return replacement;
    return 0x10000 + ((unit - 0xD800) << 10) + (units[at++] - 0xDC00U);
}

/// Runs of plain characters are nearly all there is, so they are taken in one go; `other` gets the rest.
template <typename Other>
void appendUnits(std::string& out, std::u16string_view units, Other other) {
    out.reserve(out.size() + units.size());
    for (std::size_t at = 0; at < units.size();) {
        if (units[at] < 0x80 && isPlain(static_cast<unsigned char>(units[at])))
            out.push_back(static_cast<char>(units[at++]));
        else
            other(nextCodePoint(units, at));
    }
}

} // namespace

Xerces_Utf8Character Xerces_ReadUtf8(std::string_view text, std::size_t at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80)
        return {lead, 1};
    std::size_t length = 0;
    char32_t codePoint = 0;
    char32_t smallest = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2, codePoint = lead & 0x1FU, smallest = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3, codePoint = lead & 0x0FU, smallest = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4, codePoint = lead & 0x07U, smallest = 0x10000;
    } else {
        return {};
    }
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(text, at + i))
            return {};
        codePoint = (codePoint << 6) | (static_cast<unsigned char>(text[at + i]) & 0x3FU);
    }
    if (codePoint < smallest || codePoint > 0x10FFFF || isSurrogate(codePoint))
        return {};
    return {codePoint, length};
}

std::size_t Xerces_ToUnits(std::string_view text, char16_t* units) {
    char16_t* out = units;
    for (std::size_t at = 0; at < text.size() && text[at] != '\0';) {
        const auto byte = static_cast<unsigned char>(text[at]);
        if (isPlain(byte)) {
            *out++ = byte;
            ++at;
            continue;
        }
        const Xerces_Utf8Character character = Xerces_ReadUtf8(text, at);
        if (character.length != 0 && standsForItself(character.codePoint)) {
            out += writeUnits(character.codePoint, out);
            at += character.length;
        } else {
            *out++ = static_cast<char16_t>(mappedFirst + byte);
            ++at;
        }
    }
    *out = 0;
    return static_cast<std::size_t>(out - units);
}

std::string Xerces_ToBytes(std::u16string_view units) {
    // At once as much as there can be: a string that grows leaves a copy behind, and this may be a password.
    const auto wide = std::count_if(units.begin(), units.end(), [](char16_t unit) { return unit >= 0x80; });
    std::string out;
    out.reserve(units.size() + 2 * static_cast<std::size_t>(wide));
    appendUnits(out, units, [&out](char32_t c) {
        if (c > mappedFirst && c <= mappedLast && isMapped(c - mappedFirst))
            out.push_back(static_cast<char>(c - mappedFirst));
        else
            appendCodePoint(out, c);
    });
    return out;
}

void Xerces_AppendUtf8(std::string& out, std::u16string_view units) {
    appendUnits(out, units, [&out](char32_t c) {
        if (isControl(c))
            appendCodePoint(out, mappedFirst + c);
        else
            appendCodePoint(out, isNoncharacter(c) ? replacement : c);
    });
}
