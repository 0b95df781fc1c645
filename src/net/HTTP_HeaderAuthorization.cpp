#include "net/HTTP_HeaderAuthorization.h"

#include "base/Base64.h"
#include "net/HTTP_Digest.h"
#include "net/HTTP_Text.h"

#include <array>
#include <cstdio>
#include <utility>

namespace {

/// RFC 2616, 2.2: inside quotes, a quote or a backslash takes a backslash before it.
std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c == '"' || c == '\\')
            result += '\\';
        result += c;
    }
    return result;
}

void appendQuoted(std::string& out, std::string_view name, std::string_view value) {
    out.append(name).append("=\"").append(value).append("\"");
}

/// RFC 2617, 3.2.2: eight hexadecimal digits.
std::string nonceCountText(unsigned count) {
    std::array<char, 9> text{};
    std::snprintf(text.data(), text.size(), "%08x", count);
    return text.data();
}

} // namespace

bool HTTP_HeaderAuthorizationBase::getSerializeValue(std::string* out) const {
    switch (scheme_) {
    case AUTHENTICATION_BASIC:
        return appendBasic(*out);
    case AUTHENTICATION_DIGEST:
        return appendDigest(*out);
    default:
        return false;
    }
}

bool HTTP_HeaderAuthorizationBase::appendBasic(std::string& out) const {
    constexpr std::string_view scheme = "Basic ";
    Secret_Text credentials;
    credentials.append(username_);
    credentials.append(':');
    credentials.append(password_.view());
    std::string text;
    const bool done = encodeBase64(&credentials.asString(), &text);
    const Secret_Text encoded = Secret_Text::take(std::move(text));
    // Room for the end of the line too, so that the text does not move any more and leave itself behind.
    out.reserve(out.size() + scheme.size() + encoded.size() + 2);
    out.append(scheme).append(encoded.view());
    return done;
}

bool HTTP_HeaderAuthorizationBase::appendDigest(std::string& out) const {
    const auto methodText = HTTP_MethodText(method_);
    if (!methodText || (!qop_.empty() && qop_ != "auth"))
        return false;
    const std::string nonceCount = nonceCountText(nonceCount_);
    const HTTP_DigestInput input{.username = username_,
                                 .realm = realm_,
                                 .password = password_.view(),
                                 .method = *methodText,
                                 .uri = uri_,
                                 .nonce = nonce_,
                                 .qop = qop_,
                                 .nonceCount = nonceCount,
                                 .cnonce = cnonce_,
                                 .sessionKey = algorithm_ == DIGEST_MD5_SESS};

    out.append("Digest ");
    appendQuoted(out, "username", escaped(username_));
    // What came from the challenge goes back as it came, with any backslash that is already in it.
    appendQuoted(out, ", realm", realm_);
    appendQuoted(out, ", nonce", nonce_);
    appendQuoted(out, ", uri", uri_);
    out.append(", algorithm=").append(input.sessionKey ? "MD5-sess" : "MD5");
    appendQuoted(out, ", response", HTTP_DigestResponse(input));
    if (!qop_.empty())
        out.append(", qop=").append(qop_).append(", nc=").append(nonceCount);
    if (!qop_.empty() || input.sessionKey)
        appendQuoted(out, ", cnonce", cnonce_);
    if (!opaque_.empty())
        appendQuoted(out, ", opaque", opaque_);
    return true;
}
