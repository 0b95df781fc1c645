#include "rmi/AgentHTTP_PeerVerifyHandler.h"

#include "net/HTTP_File.h"
#include "net/HTTP_SecurityToken.h"

namespace {

const HTTP_SecurityToken* tokenOf(const HTTP_File* file) {
    return file == nullptr ? nullptr : file->getSecurityToken();
}

} // namespace

bool AgentHTTP_PeerVerifyHandler::getEncryptionProtocolVerifyPeer() {
    return file_ != nullptr && file_->getEncryptionProtocolVerifyPeer();
}

bool AgentHTTP_PeerVerifyHandler::setEncryptionProtocolVerifyPeer(bool verify) {
    return file_ != nullptr && file_->setEncryptionProtocolVerifyPeer(verify);
}

void AgentHTTP_PeerVerifyHandler::getSecurityTokenUser(std::string& user) {
    user.clear();
    if (const HTTP_SecurityToken* token = tokenOf(file_))
        token->getUser(user);
}

void AgentHTTP_PeerVerifyHandler::getSecurityTokenPassword(std::string& password) {
    password.clear();
    if (const HTTP_SecurityToken* token = tokenOf(file_))
        token->getPass(password);
}
