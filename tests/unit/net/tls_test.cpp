#include "TestServer.h"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <memory>

namespace {

/// A TLS client on the bare library, so that the server is not tested by its own code.
class TLSClient {
public:
    explicit TLSClient(unsigned short port) : raw_(port), context_(SSL_CTX_new(TLS_client_method())) {
        const timeval limit{60, 0};
        ::setsockopt(raw_.descriptor(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        SSL_CTX_set_max_proto_version(context_.get(), TLS1_2_VERSION);
        EXPECT_EQ(SSL_CTX_set_cipher_list(context_.get(), "ADH:AECDH:@SECLEVEL=0"), 1);
        ssl_.reset(SSL_new(context_.get()));
        SSL_set_fd(ssl_.get(), raw_.descriptor());
    }

    bool handshake() { return SSL_connect(ssl_.get()) == 1; }
    bool send(const std::string& text) {
        return SSL_write(ssl_.get(), text.data(), static_cast<int>(text.size())) ==
               static_cast<int>(text.size());
    }
    std::string receive() {
        char piece[16384];
        const int count = SSL_read(ssl_.get(), piece, sizeof piece);
        return {piece, static_cast<std::size_t>(std::max(count, 0))};
    }
    std::string ask(const std::string& request) {
        if (!send(request))
            return "not sent";
        std::string reply = receive();
        return reply.substr(std::min(reply.find("\r\n\r\n"), reply.size()));
    }
    /// Whether the server said goodbye before it closed.
    bool endedInOrder() {
        char byte = 0;
        const int count = SSL_read(ssl_.get(), &byte, 1);
        return count == 0 && SSL_get_error(ssl_.get(), count) == SSL_ERROR_ZERO_RETURN;
    }
    SSL* ssl() { return ssl_.get(); }
    RawClient& raw() { return raw_; }

private:
    struct Free {
        void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
        void operator()(SSL* ssl) const { SSL_free(ssl); }
    };

    RawClient raw_;
    std::unique_ptr<SSL_CTX, Free> context_;
    std::unique_ptr<SSL, Free> ssl_;
};

const std::string closing = "GET / HTTP/1.0\r\n\r\n";
const std::string keeping = "GET / HTTP/1.1\r\n\r\n";
const std::string answer = "\r\n\r\nfine";

} // namespace

TEST(TLS, NeitherPlainTextNorRenegotiationBehindAHandshake) {
    TestServer server(answerFine);
    TLSClient mixed(server.port());
    ASSERT_TRUE(mixed.handshake());
    EXPECT_EQ(mixed.ask(keeping), answer);
    mixed.raw().send(closing);
    EXPECT_EQ(mixed.receive().find("200 OK"), std::string::npos);
    ERR_clear_error();
    TLSClient client(server.port());
    ASSERT_TRUE(client.handshake());
    EXPECT_EQ(client.ask(keeping), answer);
    ASSERT_EQ(SSL_renegotiate(client.ssl()), 1);
    EXPECT_NE(SSL_do_handshake(client.ssl()), 1);
    ERR_clear_error();
}

TEST(TLS, APeerWithoutCertificateFailsVerificationOnALiveConnectionOnly) {
    TestServer server([](HTTP_File& file) {
        const bool verified = file.setEncryptionProtocolVerifyPeer(true);
        EXPECT_TRUE(file.getEncryptionProtocolVerifyPeer());
        EXPECT_TRUE(file.setEncryptionProtocolVerifyPeer(false));
        return file.sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_TEXT_HTML, verified ? "yes" : "no", 1);
    });
    TLSClient encrypted(server.port());
    ASSERT_TRUE(encrypted.handshake());
    EXPECT_EQ(encrypted.ask(closing), "\r\n\r\nno");
    RawClient plain(server.port());
    plain.send(closing);
    EXPECT_TRUE(plain.await("\r\n\r\nyes"));
}

TEST(TLS, ASocketThatConnectsAnewHandshakesAnew) {
    TestServer server(answerFine);
    Socket_SocketImpl socket;
    bool flag = true;
    EXPECT_FALSE(socket.registerSSLFactory(nullptr));
    socket.setEncryptionProtocol(Socket_Socket::ENCRYPTION_SSL);
    ASSERT_TRUE(socket.create(Socket_Socket::TRANSPORT_TCP, false) &&
                socket.connect("localhost", server.port()));
    EXPECT_EQ(socket.write("GET ", 4, flag), -1) << "no factory";
    EXPECT_FALSE(socket.connect("localhost", server.port())) << "open already";
    ASSERT_TRUE(socket.close() && socket.registerSSLFactory(&gSSLFactory));
    for (int turn = 0; turn < 2; ++turn) {
        ASSERT_TRUE(socket.create(Socket_Socket::TRANSPORT_TCP, false));
        ASSERT_TRUE(socket.connect("127.0.0.1", server.port()));
        EXPECT_FALSE(socket.isTLSEstablished());
        ASSERT_EQ(socket.write(closing.data(), static_cast<unsigned>(closing.size()), flag),
                  static_cast<int>(closing.size()));
        EXPECT_TRUE(socket.isTLSEstablished());
        char start[12];
        ASSERT_EQ(socket.peek(start, sizeof start, flag, 60), static_cast<int>(sizeof start));
        EXPECT_EQ(std::string(start, sizeof start), "HTTP/1.1 200");
        ASSERT_EQ(socket.read(start, 8, flag, 60), 8);
        EXPECT_EQ(std::string(start, 8), "HTTP/1.1");
        ASSERT_TRUE(socket.close());
        EXPECT_EQ(socket.read(start, 1, flag, 60), -1);
    }
}

TEST(TLS, WithoutItsLayerTheFactoryFails) {
    EXPECT_EQ(gSSLFactory.createSSLContext(Socket_SSLFactory::SERVER), nullptr);
    const TLSLayer layer;
    EXPECT_EQ(gSSLFactory.createSSLContext(Socket_SSLFactory::NONE), nullptr);
}
