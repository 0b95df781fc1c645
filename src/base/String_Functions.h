#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Small operations on zero-terminated byte strings. All are thread-safe as long as nobody else touches the
/// text.

/// Removes trailing and leading blanks in place; only the blank counts, not tabs. False for null.
bool nxstrtrim(char* text);

/// Each byte in place; both return the argument, which may be null.
char* nxstrtoupr(char* text);
char* nxstrtolwr(char* text);

/// Hexadecimal text of either case, with or without "0x", to a number. Reading ends at the first character
/// that is no digit; 0 if there is none, or for null. Of more than 16 digits the last 16 count.
std::uint64_t nxhtoi(const char* text);

/// The decimal text.
std::string nxitos(int number);

/// Copies the characters with the indices `start` to `end`, both included, and a zero byte. Returns a pointer
/// to that zero byte. The caller sees to it that the range lies inside `source` and fits into `destination`;
/// an empty source gives an empty destination.
char* nxsubstr(char* destination, const char* source, std::size_t start, std::size_t end);

/// Whether the first `count` characters are all decimal digits. False for null and for a shorter text.
bool isStringNumeric(const char* text, std::size_t count);

/// The tokens between any characters of `delimiters`; runs of delimiters count as one, so no token is empty.
std::vector<std::string> string2vector(const std::string& text, const std::string& delimiters);

/// "System error", the number and the text of the current `errno`, which it leaves alone. Empty if that is 0.
std::string nxGetLastErrorMessage();
