#pragma once

#include <algorithm>
#include <string_view>

/// Comparisons of protocol text. Case is that of ASCII, whatever the locale, and a blank is a space and
/// nothing else.

inline char HTTP_Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline bool HTTP_EqualsIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return HTTP_Lower(x) == HTTP_Lower(y); });
}

inline bool HTTP_StartsWithIgnoringCase(std::string_view text, std::string_view start) {
    return HTTP_EqualsIgnoringCase(text.substr(0, start.size()), start);
}

/// `text` without its leading blanks.
inline std::string_view HTTP_SkipBlanks(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}
