#pragma once

#include <string>
#include <string_view>

/// What a Digest answer is computed from, RFC 2617, 3.2.2. Texts are without their quotes and borrowed.
struct HTTP_DigestInput {
    std::string_view username;
    std::string_view realm;
    std::string_view password;
    std::string_view method; ///< as on the request line
    std::string_view uri;    ///< as on the request line
    std::string_view nonce;
    std::string_view qop; ///< "auth", or empty for a peer that does not know it
    std::string_view nonceCount;
    std::string_view cnonce;
    bool sessionKey = false; ///< MD5-sess
};

/// The value of "response": 32 lower-case hexadecimal digits. Pure.
std::string HTTP_DigestResponse(const HTTP_DigestInput& input);
