#pragma once

#include "net/HTTP_Header.h"

#include <string>
#include <string_view>
#include <vector>

enum AuthenticationScheme {
    AUTHENTICATION_BASIC = 1,
    AUTHENTICATION_DIGEST = 2,
    AUTHENTICATION_NONE = 999,
};

enum DigestAlgorithm {
    DIGEST_MD5 = 1,
    DIGEST_MD5_SESS = 2,
    DIGEST_NONE = 999,
};

/// A challenge of a server or a proxy, RFC 2617, 2 and 3.2.1. Values are held without their quotes and
/// otherwise as they came, backslashes included, which is how they go into a digest and back to the peer.
class HTTP_HeaderAuthenticateBase : public HTTP_Header {
public:
    /// False unless the value is a Basic challenge with a quoted realm, or a Digest challenge with something
    /// behind the word. Parameters of a Digest challenge that are not known are passed over.
    bool parse(const std::string* line) override;

    virtual AuthenticationScheme getScheme() const { return scheme_; }
    virtual void setScheme(AuthenticationScheme scheme) { scheme_ = scheme; }
    virtual const std::string& getRealm() const { return realm_; }
    virtual void setRealm(const std::string& realm) { realm_ = realm; }
    virtual const std::vector<std::string>& getDomains() const { return domains_; }
    /// `list` has the URIs with blanks between.
    virtual void setDomainList(const std::string& list);
    virtual const std::string& getNonce() const { return nonce_; }
    virtual void setNonce(const std::string& nonce) { nonce_ = nonce; }
    virtual const std::string& getOpaque() const { return opaque_; }
    virtual void setOpaque(const std::string& opaque) { opaque_ = opaque; }
    virtual bool getStale() const { return stale_; }
    virtual void setStale(bool stale) { stale_ = stale; }
    virtual DigestAlgorithm getAlgorithm() const { return algorithm_; }
    virtual void setAlgorithm(DigestAlgorithm algorithm) { algorithm_ = algorithm; }
    virtual const std::string& getQopOptions() const { return qopOptions_; }
    virtual void setQopOptions(const std::string& options) { qopOptions_ = options; }
    virtual const std::string& getQop() const { return qop_; }
    virtual void setQop(const std::string& qop) { qop_ = qop; }
    /// Whether the challenge holds for `uri`: it does if it names no domain, or one that the URI begins with.
    virtual bool isDomainSupported(const std::string& uri) const;

protected:
    using HTTP_Header::HTTP_Header;

private:
    struct Parameter;
    static const Parameter parameters[];

    bool parseBasic(std::string_view text);
    bool parseDigest(std::string_view text);
    bool parseParameter(std::string_view text);

    AuthenticationScheme scheme_ = AUTHENTICATION_NONE;
    std::string realm_;
    std::vector<std::string> domains_;
    std::string nonce_;
    std::string opaque_;
    bool stale_ = false;
    DigestAlgorithm algorithm_ = DIGEST_NONE;
    std::string qopOptions_;
    std::string qop_;
};

class HTTP_HeaderWWWAuthenticate : public HTTP_HeaderAuthenticateBase {
public:
    static constexpr std::string_view Name = "WWW-Authenticate";
    HTTP_HeaderWWWAuthenticate() : HTTP_HeaderAuthenticateBase(Name) {}
};

class HTTP_HeaderProxyAuthenticate : public HTTP_HeaderAuthenticateBase {
public:
    static constexpr std::string_view Name = "Proxy-Authenticate";
    HTTP_HeaderProxyAuthenticate() : HTTP_HeaderAuthenticateBase(Name) {}
};
