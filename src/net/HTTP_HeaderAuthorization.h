#pragma once

#include "net/HTTP_Header.h"
#include "net/HTTP_HeaderAuthenticate.h"

#include <string>
#include <string_view>

/// The answer to a challenge, RFC 2617, 2 and 3.2.2. The value is made from the fields when it is serialised.
class HTTP_HeaderAuthorizationBase : public HTTP_Header {
public:
    /// False if the scheme is none, if a Digest has no method that can be named, or if the peer offers no
    /// quality of protection but one that is not spoken here.
    bool getSerializeValue(std::string* out) const override;

    virtual AuthenticationScheme getScheme() const { return scheme_; }
    virtual void setScheme(AuthenticationScheme scheme) { scheme_ = scheme; }
    virtual const std::string& getUsername() const { return username_; }
    virtual void setUsername(const std::string& username) { username_ = username; }
    virtual const std::string& getPassword() const { return password_.asString(); }
    virtual void setPassword(const std::string& password) { password_.assign(password); }
    virtual const std::string& getRealm() const { return realm_; }
    virtual void setRealm(const std::string& realm) { realm_ = realm; }
    virtual HTTP_Method getMethod() const { return method_; }
    virtual void setMethod(HTTP_Method method) { method_ = method; }
    virtual const std::string& getUri() const { return uri_; }
    virtual void setUri(const std::string& uri) { uri_ = uri; }
    /// "auth", or empty for a peer that named no quality of protection (RFC 2069).
    virtual const std::string& getQop() const { return qop_; }
    virtual void setQop(const std::string& qop) { qop_ = qop; }
    virtual const std::string& getNonce() const { return nonce_; }
    virtual void setNonce(const std::string& nonce) { nonce_ = nonce; }
    virtual const std::string& getCnonce() const { return cnonce_; }
    virtual void setCnonce(const std::string& cnonce) { cnonce_ = cnonce; }
    virtual unsigned getNonceCount() const { return nonceCount_; }
    virtual void setNonceCount(unsigned count) { nonceCount_ = count; }
    virtual const std::string& getOpaque() const { return opaque_; }
    virtual void setOpaque(const std::string& opaque) { opaque_ = opaque; }
    virtual const std::string& getEntityBody() const { return entityBody_; }
    virtual void setEntityBody(const std::string& body) { entityBody_ = body; }
    virtual DigestAlgorithm getAlgorithm() const { return algorithm_; }
    virtual void setAlgorithm(DigestAlgorithm algorithm) { algorithm_ = algorithm; }

protected:
    using HTTP_Header::HTTP_Header;

private:
    bool appendBasic(std::string& out) const;
    bool appendDigest(std::string& out) const;

    AuthenticationScheme scheme_ = AUTHENTICATION_NONE;
    std::string username_;
    Secret_Text password_;
    std::string realm_;
    HTTP_Method method_ = HTTP_METHOD_UNKNOWN;
    std::string uri_;
    std::string qop_;
    std::string nonce_;
    std::string cnonce_;
    unsigned nonceCount_ = 0;
    std::string opaque_;
    std::string entityBody_;
    DigestAlgorithm algorithm_ = DIGEST_NONE;
};

class HTTP_HeaderAuthorization : public HTTP_HeaderAuthorizationBase {
public:
    static constexpr std::string_view Name = "Authorization";
    HTTP_HeaderAuthorization() : HTTP_HeaderAuthorizationBase(Name) {}
};

class HTTP_HeaderProxyAuthorization : public HTTP_HeaderAuthorizationBase {
public:
    static constexpr std::string_view Name = "Proxy-Authorization";
    HTTP_HeaderProxyAuthorization() : HTTP_HeaderAuthorizationBase(Name) {}
};
