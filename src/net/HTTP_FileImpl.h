#pragma once

#include "base/Secret_Text.h"
#include "net/HTTP_File.h"
#include "net/HTTP_Header.h"
#include "net/HTTP_Reader.h"
#include "net/HTTP_SecurityToken.h"
#include "net/Socket_SocketImpl.h"

#include <memory>
#include <string>
#include <string_view>

/// What both sides of an exchange are made of: a socket and the message that was read from it last. The
/// operations here are those of a file that has not got as far; HTTP_FileImplServer and HTTP_FileImplClient
/// override those of their side.
class HTTP_FileImpl : public HTTP_File {
public:
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
    bool getWasClientResponseReceived() const override { return false; }
    HTTP_Return_Code getReturnCode() const override;
    bool getWasServerRequestMade() const override { return false; }
    bool getWasServerRequestSimple() const override { return false; }
    bool close() override;

    Socket_SocketImpl& getSocket() { return socket_; }

protected:
    HTTP_FileImpl() = default;
    HTTP_FileImpl(HTTP_Method method, std::string_view uri) : method_(method), uri_(uri) {}

    void clearMessage();
    /// The first line of the message, logged.
    static bool readFirstLine(HTTP_HeadReader& reader);
    /// One write, so that a small message is one packet and one system call.
    bool writeAll(std::string_view message);

    HTTP_Method method_ = HTTP_METHOD_UNKNOWN;
    std::string uri_;
    std::string version_ = "HTTP/1.0";
    HTTP_HeaderMap headers_;
    Memory_Share headShare_;
    Secret_Text body_;
    Memory_Share bodyShare_;
    Socket_SocketImpl socket_;

private:
    std::unique_ptr<HTTP_SecurityToken> token_;
};
