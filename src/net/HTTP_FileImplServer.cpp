#include "net/HTTP_FileImplServer.h"

#include "log/Debug_Printf.h"
#include "net/HTTP_BodyPassword.h"
#include "net/HTTP_Stop.h"
#include "net/HTTP_Text.h"
#include "net/HTTP_URLEncoding.h"

#include <cstring>
#include <utility>

namespace {

/// As many bytes tell a plain request from the beginning of a TLS handshake.
constexpr unsigned classifyingBytes = 4;

/// More than the status line and the headers of any reply take.
constexpr std::size_t replyHeadSize = 256;

/// A reply up to here is always made, also when requests hold all that they may together.
constexpr std::size_t uncountedReply = 65536;

constexpr std::string_view newestVersion = "HTTP/1.1";

bool beginsLikeRequest(std::string_view bytes) {
    return HTTP_StartsWithIgnoringCase(bytes, "GET") || HTTP_StartsWithIgnoringCase(bytes, "POST");
}

std::string_view protocolOfReply(std::string_view requestVersion) {
    constexpr std::string_view oldest = "HTTP/0.9";
    return requestVersion == oldest ? oldest : newestVersion;
}

} // namespace

bool HTTP_FileImplServer::getWasServerRequestSimple() const {
    return requestMade_ && method_ == HTTP_METHOD_GET && headers_.empty();
}

void HTTP_FileImplServer::forgetRequest() {
    clearMessage();
    uri_ = std::string();
    version_ = std::string();
}

bool HTTP_FileImplServer::handleRequest(HTTP_Return_Code& code) {
    code = HTTP_RETURN_INTERNAL_SERVER_ERROR;
    if (!socket_.isValid() || !readRequest()) {
        socket_.setEncryptionProtocol(Socket_Socket::ENCRYPTION_NONE);
        return false;
    }
    code = HTTP_RETURN_OK;
    return true;
}

bool HTTP_FileImplServer::readRequest() {
    requestMade_ = true;
    clearMessage();
    if (!awaitRequest())
        return false;
    HTTP_HeadReader reader(socket_, HTTP_ReadTimeLimit, headShare_);
    return readRequestLine(reader) && reader.readHeaders(headers_) && readRequestBody();
}

/// Waits for the first bytes of a request and settles whether the connection is plain or TLS. A connection
/// that has made a TLS handshake stays TLS.
bool HTTP_FileImplServer::awaitRequest() {
    char start[classifyingBytes];
    bool flag = false;
    const auto peekedRequest = [&](bool& peeked) {
        peeked = socket_.peek(start, classifyingBytes, flag, HTTP_ReadTimeLimit) ==
                 static_cast<int>(classifyingBytes);
        return peeked && beginsLikeRequest({start, classifyingBytes});
    };
    bool peeked = false;
    if (!socket_.isTLSEstablished()) {
        socket_.setEncryptionProtocol(Socket_Socket::ENCRYPTION_NONE);
        if (peekedRequest(peeked))
            return true;
        if (!peeked)
            return false;
        socket_.setEncryptionProtocol(Socket_Socket::ENCRYPTION_SSL);
    }
    return peekedRequest(peeked);
}

bool HTTP_FileImplServer::readRequestLine(HTTP_HeadReader& reader) {
    HTTP_RequestLine request;
    if (!readFirstLine(reader) || !HTTP_ParseRequestLine(reader.line().view(), request))
        return false;
    method_ = request.method;
    uri_ = std::move(request.uri);
    version_ = std::move(request.version);
    return true;
}

bool HTTP_FileImplServer::readRequestBody() {
    const auto* length = HTTP_LastHeader<HTTP_HeaderContentLength>(headers_);
    if (length == nullptr || length->getContentLength() == 0)
        return true;
    if (length->getContentLength() <= HTTP_BodyLimit && !agreeToBody())
        return false;
    if (!HTTP_ReadBody(socket_, length->getContentLength(), HTTP_ReadTimeLimit, body_, bodyShare_))
        return false;
    const auto* type = HTTP_LastHeader<HTTP_HeaderContentType>(headers_);
    if (type != nullptr && type->getContentType() == HTTP_CONTENT_TYPE_FORM_URLENCODED) {
        body_.resize(HTTP_DecodeInPlace(body_.data(), body_.size()));
        body_.resize(std::strlen(body_.c_str()));
    }
    if (gDebugPrintf.isEnabled())
        logRequestBody();
    return true;
}

/// A client that asks first, curl say, sends its body only then, or after a second in vain.
bool HTTP_FileImplServer::agreeToBody() {
    return version_ != newestVersion || !HTTP_HasHeader(headers_, "Expect", "100-continue") ||
           writeAll("HTTP/1.1 100 Continue\r\n\r\n");
}

void HTTP_FileImplServer::logRequestBody() const {
    if (!HTTP_IsFreeOfPasswords(body_.view()))
        gDebugPrintf.print("RMI request body not logged for security reasons\n");
    else
        gDebugPrintf.print("\nreceived request body: %u\n%s\n", static_cast<unsigned>(body_.size()),
                           body_.c_str());
}

/// Once kept alive, a connection stays so for the rest of its life, or until the agent stops, unless nobody
/// can tell where the next request begins.
void HTTP_FileImplServer::decideKeepAlive() {
    if (HTTP_HasHeader(headers_, "Transfer-Encoding")) {
        keepAlive_ = false;
        return;
    }
    const auto* connection = HTTP_LastHeader<HTTP_HeaderConnection>(headers_);
    const bool wanted = connection == nullptr
                            ? version_ == newestVersion
                            : connection->getConnectionType() == HTTP_HeaderConnection::KEEP_ALIVE;
    keepAlive_ = (keepAlive_ || wanted) && !HTTP_IsStopping();
}

bool HTTP_FileImplServer::sendReply(HTTP_Return_Code code, HTTP_Content_Type contentType, const char* body,
                                    int length) {
    DEBUG_LOG("HTTP_FileImpl::sendReply\n");
    if (!requestMade_)
        return HTTP_FileImpl::sendReply(code, contentType, body, length);
    requestMade_ = false;
    decideKeepAlive();
    headers_.clear();

    const std::string_view text = body != nullptr && length >= 1 ? body : "";
    // What comes behind half a reply, or none, would be taken for its rest, or for it.
    try {
        // A client that reads slowly, or not, has it held twice: by the caller and as it goes out.
        Memory_Share share;
        std::string reply;
        if ((text.size() <= uncountedReply || share.grow(2 * text.size())) &&
            createReply(reply, code, contentType, text) && writeAll(reply)) {
            DEBUG_LOG("HTTP_FileImpl::sendReply: finish\n");
            return true;
        }
    } catch (...) {
        socket_.close();
        throw;
    }
    socket_.close();
    DEBUG_LOG("HTTP_FileImpl::sendReply: exit with error\n");
    return false;
}

bool HTTP_FileImplServer::createReply(std::string& out, HTTP_Return_Code code, HTTP_Content_Type contentType,
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
    out.append(protocolOfReply(version_)).append(" ").append(std::to_string(code)).append(" ");
    out.append(HTTP_ReasonText(code)).append("\r\n");
    out.append("Content-Type: ").append(*typeText).append("\r\n");
    out.append("Content-Length: ").append(std::to_string(body.size())).append("\r\n");
    out.append(keepAlive_ ? "Connection: Keep-Alive\r\n\r\n" : "Connection: Close\r\n\r\n");
    out.append(body);
    DEBUG_LOG("HTTP_FileImpl::sendReply: reply to send:\n%s\n", out.c_str());
    return true;
}
