#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// The form encoding of request and reply bodies: letters and digits stand for themselves, a blank is "+",
/// any other byte "%" and two hexadecimal digits. Pure functions.

/// A "%" that two more characters don't follow stands for itself; two that are no number give what strtol
/// reads from them, a zero byte if nothing.
std::string decodeURLEncoding(std::string_view text);
/// The same where the text lies; it never grows. Returns its new length.
std::size_t HTTP_DecodeInPlace(char* text, std::size_t length);
std::string encodeURLEncoding(std::string_view text);
