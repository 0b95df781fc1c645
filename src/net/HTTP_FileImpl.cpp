#include "net/HTTP_FileImpl.h"

#include "log/Debug_Printf.h"
#include "net/HTTP_Exception.h"

#include <climits>
#include <utility>

HTTP_FileImpl::~HTTP_FileImpl() = default;

bool HTTP_FileImpl::registerSSLFactory(Socket_SSLFactory* factory) {
    return socket_.registerSSLFactory(factory);
}

bool HTTP_FileImpl::registerSecurityToken(std::unique_ptr<HTTP_SecurityToken> token) {
    if (token_ != nullptr)
        DEBUG_LOG("HTTP_FileImpl::registerSecurityToken: replacing security token\n");
    token_ = std::move(token);
    return true;
}

Socket_Socket::EncryptionProtocol HTTP_FileImpl::getEncryptionProtocol() const {
    return socket_.getEncryptionProtocol();
}

bool HTTP_FileImpl::setEncryptionProtocol(Socket_Socket::EncryptionProtocol protocol) {
    return socket_.setEncryptionProtocol(protocol);
}

bool HTTP_FileImpl::getEncryptionProtocolVerifyPeer() const {
    return socket_.getEncryptionProtocolVerifyPeer();
}

bool HTTP_FileImpl::setEncryptionProtocolVerifyPeer(bool verify) {
    return socket_.setEncryptionProtocolVerifyPeer(verify);
}

bool HTTP_FileImpl::handleRequest(HTTP_Return_Code& code) {
    code = HTTP_RETURN_INTERNAL_SERVER_ERROR;
    return false;
}

bool HTTP_FileImpl::sendRequest(HTTP_Content_Type /*contentType*/, const char* /*name*/, const char* /*body*/,
                                int /*length*/) {
    return false;
}

bool HTTP_FileImpl::sendReply(HTTP_Return_Code /*code*/, HTTP_Content_Type /*contentType*/,
                              const char* /*body*/, int /*length*/) {
    throw HTTP_Exception(HTTP_Exception::NoRequestReceived);
}

HTTP_Return_Code HTTP_FileImpl::getReturnCode() const {
    throw HTTP_Exception(HTTP_Exception::NoResponseReceived);
}

bool HTTP_FileImpl::getEntityBody(char*& body, int& length) {
    body = body_.empty() ? nullptr : body_.data();
    length = static_cast<int>(body_.size());
    return body != nullptr;
}

bool HTTP_FileImpl::close() {
    return socket_.close();
}

void HTTP_FileImpl::clearMessage() {
    headers_.clear();
    headShare_.release();
    body_.clear();
    bodyShare_.release();
}

bool HTTP_FileImpl::readFirstLine(HTTP_HeadReader& reader) {
    if (!reader.readLine())
        return false;
    DEBUG_LOG("%s", reader.line().c_str());
    return true;
}

bool HTTP_FileImpl::writeAll(std::string_view message) {
    bool flag = false;
    return message.size() <= INT_MAX && socket_.write(message.data(), static_cast<unsigned>(message.size()),
                                                      flag) == static_cast<int>(message.size());
}
