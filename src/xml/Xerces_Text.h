#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// The mapping between the bytes of text in memory and the UTF-16 of a document. Pure functions; no locale.
///
/// Bytes are read as UTF-8 (RFC 3629). A byte that is not part of a valid sequence, a byte of a character
/// that XML 1.0 cannot carry, and a byte of a code point U+EF00 to U+EFFF becomes the code point U+EF00 plus
/// that byte, and comes back as that byte. So every text without zero bytes comes back as it was. In the
/// other direction a code point of that range which no byte is mapped to stands for itself, so that no zero
/// byte, "/" or other plain character can be smuggled in under it; a lone surrogate becomes U+FFFD.

/// A character of UTF-8, in its shortest form, and the bytes that it takes.
struct Xerces_Utf8Character {
    char32_t codePoint = 0;
    std::size_t length = 0; ///< 0 if the byte begins no character
};

/// What begins at `at`, which is within `text`.
Xerces_Utf8Character Xerces_ReadUtf8(std::string_view text, std::size_t at);

/// The most UTF-16 units that a text of `length` bytes can become.
constexpr std::size_t Xerces_MaximumUnits(std::size_t length) {
    return length;
}

/// Writes the units and a terminating zero to `units`, which has room for the most there can be and the zero.
/// The text ends at its first zero byte. Returns the number of units without the zero.
std::size_t Xerces_ToUnits(std::string_view text, char16_t* units);

/// The bytes behind UTF-16 text.
std::string Xerces_ToBytes(std::u16string_view units);

/// Appends UTF-16 text as plain UTF-8, as it stands in a document on the wire. What XML 1.0 cannot carry does
/// not get out: a control character takes its place in the range of mapped bytes, the rest becomes U+FFFD.
void Xerces_AppendUtf8(std::string& out, std::u16string_view units);
