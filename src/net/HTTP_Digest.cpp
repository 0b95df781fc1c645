#include "net/HTTP_Digest.h"

#include "base/MD5.h"

#include <initializer_list>
#include <memory>
#include <string_view>

namespace {

/// H of the parts with colons between, RFC 2617, 3.2.1.
std::string digestOf(std::initializer_list<std::string_view> parts) {
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
    const std::unique_ptr<char[]> digits(digest.hex_digest());
    return digits.get();
}

} // namespace

std::string HTTP_DigestResponse(const HTTP_DigestInput& input) {
    std::string key = digestOf({input.username, input.realm, input.password});
    if (input.sessionKey)
        key = digestOf({key, input.nonce, input.cnonce});
    const std::string request = digestOf({input.method, input.uri});
    if (input.qop.empty())
        return digestOf({key, input.nonce, request});
    return digestOf({key, input.nonce, input.nonceCount, input.cnonce, input.qop, request});
}
