#pragma once

#include "rmi/RMI_PeerVerifyHandler.h"

class HTTP_File;

/// The connection behind an HTTP exchange. Without a registered file nothing can be asked of a peer, and
/// there is no authentication.
class AgentHTTP_PeerVerifyHandler : public RMI_PeerVerifyHandler {
public:
    bool getEncryptionProtocolVerifyPeer() override;
    bool setEncryptionProtocolVerifyPeer(bool verify) override;
    void getSecurityTokenUser(std::string& user) override;
    void getSecurityTokenPassword(std::string& password) override;

    /// The file is borrowed and must outlive this object.
    void registerFile(HTTP_File* file) { file_ = file; }

private:
    HTTP_File* file_ = nullptr;
};
