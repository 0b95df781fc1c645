#pragma once

#include <string>

/// What a Digest answer is computed from, RFC 2617, 3.2.2. Texts are without their quotes.
struct HTTP_DigestInput {
    std::string username;
    std::string realm;
    std::string password;
    std::string method; ///< as on the request line
    std::string uri;    ///< as on the request line
    std::string nonce;
    std::string qop; ///< "auth", or empty for a peer that does not know it
    std::string nonceCount;
    std::string cnonce;
    bool sessionKey = false; ///< MD5-sess
};

/// The value of "response": 32 lower-case hexadecimal digits. Pure.
std::string HTTP_DigestResponse(const HTTP_DigestInput& input);
