#pragma once

#include <string>

/// The connection on which a request came, as far as the handling of requests has to do with it. Used by the
/// connection's thread only.
class RMI_PeerVerifyHandler {
public:
    virtual ~RMI_PeerVerifyHandler() = default;

    virtual bool getEncryptionProtocolVerifyPeer() = 0;
    /// Asks for a peer certificate, or no longer does. False if that cannot be met.
    virtual bool setEncryptionProtocolVerifyPeer(bool verify) = 0;
    /// The user, and the password, of the HTTP authentication of this request; cleared if there is none.
    virtual void getSecurityTokenUser(std::string& user) = 0;
    virtual void getSecurityTokenPassword(std::string& password) = 0;
};
