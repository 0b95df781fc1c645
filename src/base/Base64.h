#pragma once

#include <string>

/// The encoding of RFC 2045, section 6.8, for text, without line breaks. Both clear `out` first and give
/// false for a null argument; `in` and `out` are two objects.

/// A zero byte in `in` ends the data of its group of three bytes.
bool encodeBase64(const std::string* in, std::string* out);

/// Skips characters outside the alphabet. A zero byte ends the output of its group, which is how padding
/// goes. False if the input ends inside a group of four characters; what was decoded until then is in `out`.
bool decodeBase64(const std::string* in, std::string* out);
