#include "net/HTTP_HeaderAuthenticate.h"

#include "net/HTTP_Text.h"

namespace {

/// The length of the list element at the start of `text`: up to a comma that is not inside quotes (RFC
/// 2616, 2.2).
std::size_t elementLength(std::string_view text) {
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (quoted && text[i] == '\\')
            ++i;
        else if (text[i] == '"')
            quoted = !quoted;
        else if (text[i] == ',' && !quoted)
            return i;
    }
    return text.size();
}

} // namespace

struct HTTP_HeaderAuthenticateBase::Parameter {
    std::string_view start;
    void (*store)(HTTP_HeaderAuthenticateBase& header, const std::string& value);
};

const HTTP_HeaderAuthenticateBase::Parameter HTTP_HeaderAuthenticateBase::parameters[] = {
    {"realm=", [](HTTP_HeaderAuthenticateBase& header, const std::string& value) { header.setRealm(value); }},
    {"domain=",
     [](HTTP_HeaderAuthenticateBase& header, const std::string& value) { header.setDomainList(value); }},
    {"nonce=", [](HTTP_HeaderAuthenticateBase& header, const std::string& value) { header.setNonce(value); }},
    {"opaque=",
     [](HTTP_HeaderAuthenticateBase& header, const std::string& value) { header.setOpaque(value); }},
    {"stale=", [](HTTP_HeaderAuthenticateBase& header,
                  const std::string& value) { header.setStale(HTTP_EqualsIgnoringCase(value, "true")); }},
    {"algorithm=",
     [](HTTP_HeaderAuthenticateBase& header, const std::string& value) {
         header.setAlgorithm(HTTP_EqualsIgnoringCase(value, "MD5-sess") ? DIGEST_MD5_SESS : DIGEST_MD5);
     }},
    {"qop-options=",
     [](HTTP_HeaderAuthenticateBase& header, const std::string& value) { header.setQopOptions(value); }},
    {"qop=", [](HTTP_HeaderAuthenticateBase& header, const std::string& value) { header.setQop(value); }},
};

void HTTP_HeaderAuthenticateBase::setDomainList(const std::string& list) {
    domains_.clear();
    std::string_view rest = HTTP_SkipBlanks(list);
    while (!rest.empty()) {
        const std::string_view domain = rest.substr(0, rest.find(' '));
        domains_.emplace_back(domain);
        rest = HTTP_SkipBlanks(rest.substr(domain.size()));
    }
}

bool HTTP_HeaderAuthenticateBase::isDomainSupported(const std::string& uri) const {
    for (const std::string& domain : domains_) {
        if (uri.starts_with(domain))
            return true;
    }
    return domains_.empty();
}

bool HTTP_HeaderAuthenticateBase::parse(const std::string* line) {
    scheme_ = AUTHENTICATION_NONE;
    realm_.clear();
    if (!HTTP_Header::parse(line))
        return false;
    const std::string_view value = getValue();
    const std::size_t wordEnd = value.find(' ');
    if (wordEnd == std::string_view::npos)
        return false;
    const std::string_view word = value.substr(0, wordEnd);
    const std::string_view rest = value.substr(wordEnd + 1);
    if (HTTP_EqualsIgnoringCase(word, "Basic"))
        return parseBasic(rest);
    return HTTP_EqualsIgnoringCase(word, "Digest") && parseDigest(rest);
}

bool HTTP_HeaderAuthenticateBase::parseBasic(std::string_view text) {
    scheme_ = AUTHENTICATION_BASIC;
    const std::size_t open = text.find('"');
    const std::size_t close = open == std::string_view::npos ? open : text.find('"', open + 1);
    if (close == std::string_view::npos)
        return false;
    realm_ = text.substr(open + 1, close - open - 1);
    return true;
}

bool HTTP_HeaderAuthenticateBase::parseDigest(std::string_view text) {
    scheme_ = AUTHENTICATION_DIGEST;
    algorithm_ = DIGEST_MD5;
    while (!text.empty()) {
        const std::size_t length = elementLength(text);
        if (!parseParameter(HTTP_SkipBlanks(text.substr(0, length))))
            return false;
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return true;
}

bool HTTP_HeaderAuthenticateBase::parseParameter(std::string_view text) {
    for (const Parameter& parameter : parameters) {
        if (!HTTP_StartsWithIgnoringCase(text, parameter.start))
            continue;
        const std::string quoted(text.substr(parameter.start.size()));
        std::string value;
        if (!stripDoubleQuotes(&quoted, &value))
            return false;
        parameter.store(*this, value);
        return true;
    }
    return true;
}
