#pragma once

#include "net/HTTP_File.h"
#include "net/HTTP_Header.h"
#include "net/HTTP_Reader.h"
#include "net/HTTP_SecurityToken.h"
#include "net/Socket_SocketImpl.h"

#include <memory>
#include <string>
#include <string_view>

class HTTP_ConnectionImpl;
class HTTP_HeaderAuthenticateBase;

/// HTTP_File over a socket of its own. The server operations are in HTTP_FileImpl.cpp, the client operations
/// in HTTP_FileImplClient.cpp; both read messages through HTTP_Reader.
class HTTP_FileImpl final : public HTTP_File {
public:
    /// For the server side: give it a connection through getSocket().
    HTTP_FileImpl() = default;
    /// For the client side. The connection is borrowed and outlives the file.
    HTTP_FileImpl(const HTTP_ConnectionImpl& connection, HTTP_Method method, std::string_view uri);
    ~HTTP_FileImpl() override;

    bool registerSSLFactory(Socket_SSLFactory* factory) override;
    bool registerSecurityToken(std::unique_ptr<HTTP_SecurityToken> token) override;
    HTTP_SecurityToken* getSecurityToken() const override { return token_.get(); }
    Socket_Socket::EncryptionProtocol getEncryptionProtocol() const override;
    bool setEncryptionProtocol(Socket_Socket::EncryptionProtocol protocol) override;
    bool getEncryptionProtocolVerifyPeer() const override;
    bool setEncryptionProtocolVerifyPeer(bool verify) override;
    bool handleRequest(HTTP_Return_Code& code) override;
    bool sendRequest(HTTP_Content_Type contentType, const char* name, const char* body, int length) override;
    bool sendReply(HTTP_Return_Code code, HTTP_Content_Type contentType, const char* body,
                   int length) override;
    HTTP_Method getMethod() const override { return method_; }
    const std::string& getURI() const override { return uri_; }
    const std::string& getProtocolVersion() const override { return version_; }
    bool getEntityBody(char*& body, int& length) override;
    bool getWasClientResponseReceived() const override { return clientResponseReceived_; }
    HTTP_Return_Code getReturnCode() const override;
    bool getWasServerRequestMade() const override { return serverRequestMade_; }
    bool getWasServerRequestSimple() const override { return serverRequestSimple_; }
    bool close() override;

    /// Whether the peer may send another request on the connection after the reply.
    bool isKeepAlive() const { return keepAlive_; }
    Socket_SocketImpl& getSocket() { return socket_; }

private:
    unsigned readTimeLimit() const;
    void clearMessage();
    bool parseHeaders(HTTP_HeadReader& reader);

    bool awaitRequest();
    bool parseRequestLine(HTTP_HeadReader& reader);
    bool readRequest();
    bool readRequestBody();
    void decideKeepAlive();
    bool createReply(std::string& out, HTTP_Content_Type contentType, std::string_view body) const;
    bool writeAll(const std::string& message);

    bool connect();
    bool bindReturnAddress(unsigned& port);
    bool createRequest(std::string& out, HTTP_Content_Type contentType, std::string_view body,
                       const HTTP_HeaderAuthenticateBase* challenge) const;
    bool authorize(std::string& out, const HTTP_HeaderAuthenticateBase& challenge) const;
    bool exchange(const std::string& request, bool readBodyWithoutLength);
    bool readReply(bool readBodyWithoutLength);
    bool parseStatusLine(HTTP_HeadReader& reader);
    std::unique_ptr<HTTP_HeaderAuthenticateBase> takeChallenge();

    HTTP_Method method_ = HTTP_METHOD_UNKNOWN;
    std::string uri_;
    std::string version_ = "HTTP/1.0";
    HTTP_Return_Code returnCode_ = HTTP_RETURN_OK;
    HTTP_HeaderMap headers_;
    HTTP_Content_Type contentType_ = HTTP_CONTENT_TYPE_UNKNOWN;
    unsigned long contentLength_ = 0;
    std::string body_;
    bool clientResponseReceived_ = false;
    bool serverRequestMade_ = false;
    bool serverRequestSimple_ = false;
    bool keepAlive_ = false;
    Socket_SocketImpl socket_;
    const HTTP_ConnectionImpl* connection_ = nullptr;
    std::unique_ptr<HTTP_SecurityToken> token_;
};
