#include "net/HTTP_FileImpl.h"

#include "base/String_Functions.h"
#include "log/Debug_Printf.h"
#include "net/HTTP_BodyPassword.h"
#include "net/HTTP_Exception.h"
#include "net/HTTP_Text.h"
#include "net/HTTP_URLEncoding.h"

#include <climits>
#include <cstring>
#include <utility>

namespace {

/// As many bytes tell a plain request from the beginning of a TLS handshake.
constexpr unsigned classifyingBytes = 4;

/// More than the status line and the headers of any reply take.
constexpr std::size_t replyHeadSize = 256;

bool beginsLikeRequest(std::string_view bytes) {
    return HTTP_StartsWithIgnoringCase(bytes, "GET") || HTTP_StartsWithIgnoringCase(bytes, "POST");
}

std::string_view protocolOfReply(std::string_view requestVersion) {
    constexpr std::string_view oldest = "HTTP/0.9";
    return requestVersion == oldest ? oldest : "HTTP/1.1";
}

} // namespace

HTTP_FileImpl::~HTTP_FileImpl() {
    nxWipeText(body_);
}

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

bool HTTP_FileImpl::getEntityBody(char*& body, int& length) {
    body = body_.empty() ? nullptr : body_.data();
    length = static_cast<int>(body_.size());
    return body != nullptr;
}

HTTP_Return_Code HTTP_FileImpl::getReturnCode() const {
    if (!clientResponseReceived_)
        throw HTTP_Exception(HTTP_Exception::NoResponseReceived);
    return returnCode_;
}

bool HTTP_FileImpl::close() {
    return socket_.close();
}

unsigned HTTP_FileImpl::readTimeLimit() const {
    return socket_.getEncryptionProtocol() == Socket_Socket::ENCRYPTION_SSL ? Socket_NoTimeLimit
                                                                            : HTTP_ReadTimeLimit;
}

void HTTP_FileImpl::clearMessage() {
    headers_.clear();
    contentType_ = HTTP_CONTENT_TYPE_UNKNOWN;
    contentLength_ = 0;
    // A password may have been in it.
    nxWipeText(body_);
    body_.shrink_to_fit();
}

bool HTTP_FileImpl::parseHeaders(HTTP_HeadReader& reader) {
    if (!reader.readHeaders(headers_))
        return false;
    if (const auto* type = HTTP_LastHeader<HTTP_HeaderContentType>(headers_))
        contentType_ = type->getContentType();
    if (const auto* length = HTTP_LastHeader<HTTP_HeaderContentLength>(headers_))
        contentLength_ = length->getContentLength();
    return true;
}

bool HTTP_FileImpl::handleRequest(HTTP_Return_Code& code) {
    code = HTTP_RETURN_INTERNAL_SERVER_ERROR;
    if (!socket_.isValid() || !readRequest()) {
        socket_.setEncryptionProtocol(Socket_Socket::ENCRYPTION_NONE);
        return false;
    }
    code = HTTP_RETURN_OK;
    return true;
}

bool HTTP_FileImpl::readRequest() {
    serverRequestMade_ = true;
    clientResponseReceived_ = false;
    clearMessage();
    if (!awaitRequest())
        return false;
    HTTP_HeadReader reader(socket_, readTimeLimit());
    if (!parseRequestLine(reader) || !parseHeaders(reader))
        return false;
    serverRequestSimple_ = method_ == HTTP_METHOD_GET && headers_.empty();
    return contentLength_ == 0 || readRequestBody();
}

/// Waits for the first bytes of a request and settles whether the connection is plain or TLS. A connection
/// that has made a TLS handshake stays TLS.
bool HTTP_FileImpl::awaitRequest() {
    char start[classifyingBytes];
    bool flag = false;
    const auto peekedRequest = [&](unsigned timeLimit, bool& peeked) {
        peeked = socket_.peek(start, classifyingBytes, flag, timeLimit) == static_cast<int>(classifyingBytes);
        return peeked && beginsLikeRequest({start, classifyingBytes});
    };
    bool peeked = false;
    // Between two requests a TLS connection waits no longer than a plain one.
    const unsigned nextRequestLimit = socket_.isTLSEstablished() ? HTTP_ReadTimeLimit : Socket_NoTimeLimit;
    if (!socket_.isTLSEstablished()) {
        socket_.setEncryptionProtocol(Socket_Socket::ENCRYPTION_NONE);
        if (peekedRequest(HTTP_ReadTimeLimit, peeked))
            return true;
        if (!peeked)
            return false;
        socket_.setEncryptionProtocol(Socket_Socket::ENCRYPTION_SSL);
    }
    return peekedRequest(nextRequestLimit, peeked);
}

bool HTTP_FileImpl::parseRequestLine(HTTP_HeadReader& reader) {
    std::string line;
    if (!reader.readLine(line))
        return false;
    DEBUG_LOG("%s", line.c_str());
    HTTP_RequestLine request;
    if (!HTTP_ParseRequestLine(line, request))
        return false;
    method_ = request.method;
    uri_ = std::move(request.uri);
    version_ = std::move(request.version);
    return true;
}

bool HTTP_FileImpl::readRequestBody() {
    if (!HTTP_ReadBody(socket_, contentLength_, readTimeLimit(), body_))
        return false;
    if (contentType_ == HTTP_CONTENT_TYPE_FORM_URLENCODED) {
        std::string decoded = decodeURLEncoding(body_);
        decoded.resize(std::strlen(decoded.c_str()));
        nxWipeText(body_);
        body_ = std::move(decoded);
    }
    if (!gDebugPrintf.isEnabled())
        return true;
    if (requestBodyContainsPassword(body_))
        gDebugPrintf.print("RMI request body not logged for security reasons\n");
    else
        gDebugPrintf.print("\nreceived request body: %u\n%s\n", static_cast<unsigned>(body_.size()),
                           body_.c_str());
    return true;
}

/// Once kept alive, a connection stays so for the rest of its life.
void HTTP_FileImpl::decideKeepAlive() {
    const auto* connection = HTTP_LastHeader<HTTP_HeaderConnection>(headers_);
    const bool wanted = connection == nullptr
                            ? version_ == "HTTP/1.1"
                            : connection->getConnectionType() == HTTP_HeaderConnection::KEEP_ALIVE;
    keepAlive_ = keepAlive_ || wanted;
}

bool HTTP_FileImpl::sendReply(HTTP_Return_Code code, HTTP_Content_Type contentType, const char* body,
                              int length) {
    DEBUG_LOG("HTTP_FileImpl::sendReply\n");
    returnCode_ = code;
    if (!serverRequestMade_)
        throw HTTP_Exception(HTTP_Exception::NoRequestReceived);
    serverRequestMade_ = false;
    serverRequestSimple_ = false;
    clientResponseReceived_ = false;
    decideKeepAlive();
    headers_.clear();

    std::string reply;
    if (createReply(reply, contentType, body != nullptr && length >= 1 ? body : "") && writeAll(reply)) {
        DEBUG_LOG("HTTP_FileImpl::sendReply: finish\n");
        return true;
    }
    // What comes behind half a reply would be taken for its rest.
    socket_.close();
    DEBUG_LOG("HTTP_FileImpl::sendReply: exit with error\n");
    return false;
}

bool HTTP_FileImpl::createReply(std::string& out, HTTP_Content_Type contentType,
                                std::string_view body) const {
    const auto typeText = HTTP_ContentTypeText(contentType);
    if (!typeText)
        return false;
    std::string encoded;
    if (contentType == HTTP_CONTENT_TYPE_FORM_URLENCODED) {
        encoded = encodeURLEncoding(body);
        body = encoded;
    }
    out.reserve(body.size() + replyHeadSize);
    out.append(protocolOfReply(version_)).append(" ").append(std::to_string(returnCode_)).append(" ");
    out.append(HTTP_ReasonText(returnCode_)).append("\r\n");
    out.append("Content-Type: ").append(*typeText).append("\r\n");
    out.append("Content-Length: ").append(std::to_string(body.size())).append("\r\n");
    out.append(keepAlive_ ? "Connection: Keep-Alive\r\n\r\n" : "Connection: Close\r\n\r\n");
    out.append(body);
    DEBUG_LOG("HTTP_FileImpl::sendReply: reply to send:\n%s\n", out.c_str());
    return true;
}

/// One write, so that a small message is one packet and one system call.
bool HTTP_FileImpl::writeAll(const std::string& message) {
    bool flag = false;
    return message.size() <= INT_MAX && socket_.write(message.data(), static_cast<unsigned>(message.size()),
                                                      flag) == static_cast<int>(message.size());
}
