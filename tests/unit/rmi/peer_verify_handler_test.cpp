#include "net/HTTP_File.h"
#include "net/HTTP_SecurityToken.h"
#include "rmi/AgentHTTP_PeerVerifyHandler.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

/// Only what the handler asks a file for.
class StubFile : public HTTP_File {
public:
    bool registerSSLFactory(Socket_SSLFactory*) override { return false; }
    bool registerSecurityToken(std::unique_ptr<HTTP_SecurityToken> given) override {
        token = std::move(given);
        return true;
    }
    HTTP_SecurityToken* getSecurityToken() const override { return token.get(); }
    Socket_Socket::EncryptionProtocol getEncryptionProtocol() const override { return {}; }
    bool setEncryptionProtocol(Socket_Socket::EncryptionProtocol) override { return false; }
    bool getEncryptionProtocolVerifyPeer() const override { return verify; }
    bool setEncryptionProtocolVerifyPeer(bool wanted) override {
        verify = wanted;
        return !wanted;
    }
    bool handleRequest(HTTP_Return_Code&) override { return false; }
    bool sendRequest(HTTP_Content_Type, const char*, const char*, int) override { return false; }
    bool sendReply(HTTP_Return_Code, HTTP_Content_Type, const char*, int) override { return false; }
    HTTP_Method getMethod() const override { return HTTP_METHOD_UNKNOWN; }
    const std::string& getURI() const override { return text; }
    const std::string& getProtocolVersion() const override { return text; }
    bool getEntityBody(char*&, int&) override { return false; }
    bool getWasClientResponseReceived() const override { return false; }
    HTTP_Return_Code getReturnCode() const override { return {}; }
    bool getWasServerRequestMade() const override { return false; }
    bool getWasServerRequestSimple() const override { return false; }
    bool close() override { return false; }

    bool verify = false;
    std::string text;
    std::unique_ptr<HTTP_SecurityToken> token;
};

TEST(AgentHttpPeerVerifyHandler, AsksTheFile) {
    AgentHTTP_PeerVerifyHandler handler;
    EXPECT_FALSE(handler.setEncryptionProtocolVerifyPeer(false));
    EXPECT_FALSE(handler.getEncryptionProtocolVerifyPeer());

    StubFile file;
    handler.registerFile(&file);
    EXPECT_FALSE(handler.setEncryptionProtocolVerifyPeer(true));
    EXPECT_TRUE(handler.getEncryptionProtocolVerifyPeer());
    EXPECT_TRUE(handler.setEncryptionProtocolVerifyPeer(false));
    EXPECT_FALSE(handler.getEncryptionProtocolVerifyPeer());

    std::string user = "old";
    std::string password = "old";
    handler.getSecurityTokenUser(user);
    handler.getSecurityTokenPassword(password);
    EXPECT_EQ(user + password, "");
    auto token = std::make_unique<HTTP_SecurityToken>();
    token->setUser("u");
    token->setPass("p");
    file.registerSecurityToken(std::move(token));
    handler.getSecurityTokenUser(user);
    handler.getSecurityTokenPassword(password);
    EXPECT_EQ(user, "u");
    EXPECT_EQ(password, "p");
}

} // namespace
