#include "net/HTTP_Digest.h"

#include "base/MD5.h"
#include "base/Secret_Text.h"

#include <initializer_list>
#include <memory>
#include <string_view>

namespace {

constexpr std::size_t hexDigits = 32;

/// H of the parts with colons between, RFC 2617, 3.2.1. That of a password is as good as the password.
Secret_Text digestOf(std::initializer_list<std::string_view> parts) {
    MD5 digest;
    bool first = true;
    const auto add = [&digest](std::string_view text) {
        digest.update(reinterpret_cast<const unsigned char*>(text.data()),
                      static_cast<unsigned>(text.size()));
    };
    for (const std::string_view part : parts) {
        if (!first)
            add(":");
        add(part);
        first = false;
    }
    digest.finalize();
    return Secret_Text::take(std::unique_ptr<char[]>(digest.hex_digest()), hexDigits);
}

} // namespace

std::string HTTP_DigestResponse(const HTTP_DigestInput& input) {
    Secret_Text key = digestOf({input.username, input.realm, input.password});
    if (input.sessionKey)
        key = digestOf({key.view(), input.nonce, input.cnonce});
    const Secret_Text request = digestOf({input.method, input.uri});
    const Secret_Text response =
        input.qop.empty()
            ? digestOf({key.view(), input.nonce, request.view()})
            : digestOf({key.view(), input.nonce, input.nonceCount, input.cnonce, input.qop, request.view()});
    return response.asString();
}
