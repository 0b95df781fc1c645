#pragma once

#include "base/File_Descriptor.h"
#include "net/Socket_Input.h"
#include "net/Socket_Socket.h"
#include "net/Socket_TLS.h"
#include "net/Socket_Transport.h"

#include <cstddef>
#include <memory>
#include <netinet/in.h>
#include <string_view>

/// Socket_Socket over the platform's sockets. As Socket_Input it is the stream of what the peer sends:
/// decrypted if the encryption protocol is SSL, raw otherwise. The TLS handshake happens on the first data
/// that is read, peeked or written with the protocol at SSL.
class Socket_SocketImpl final : public Socket_Socket, public Socket_Input {
public:
    Socket_SocketImpl() = default;
    ~Socket_SocketImpl() override;

    bool registerSSLFactory(Socket_SSLFactory* factory) override;
    EncryptionProtocol getEncryptionProtocol() const override { return protocol_; }
    bool setEncryptionProtocol(EncryptionProtocol protocol) override;
    bool getEncryptionProtocolVerifyPeer() const override { return verifyPeer_; }
    bool setEncryptionProtocolVerifyPeer(bool verify) override;
    bool create(TransportProtocol transport, bool reuseAddress) override;
    bool copy(Socket_Socket* source) override;
    bool isValid() const override { return transport_ != nullptr; }
    bool bind(const char* address, unsigned short port) override;
    bool listen() override;
    bool connect(const char* address, unsigned short port) override;
    bool accept(Socket_Socket* target) override;
    int read(char* buffer, unsigned length, bool& flag, unsigned timeoutSeconds) override;
    int peek(char* buffer, unsigned length, bool& flag, unsigned timeoutSeconds) override;
    int write(const char* buffer, unsigned length, bool& flag) override;
    bool close() override;

    std::string_view arrived() const override;
    void consume(std::size_t count) override;
    bool receiveMore(unsigned timeoutSeconds) override;

    /// Takes over an open connection, or none.
    void adopt(File_Descriptor descriptor, Socket_SSLFactory::ConnectionRole role);
    /// Whether a TLS handshake has been made: what comes from the peer is cipher text from then on.
    bool isTLSEstablished() const { return tls_ != nullptr && tls_->isEstablished(); }
    /// bind() with an address that is looked up once and used for many ports.
    bool bind(in_addr address, unsigned short port);
    /// -1 while closed.
    int descriptor() const { return isValid() ? transport_->descriptor() : File_Descriptor::None; }
    /// The port on which the socket is bound; 0 if it is not.
    unsigned short getLocalPort() const;
    /// Ends the connection, or the attempt to make one, for both sides; whoever waits in an operation of an
    /// open socket returns. May be called by another thread, as long as nobody creates, copies or closes it.
    void breakOff();
    /// Begins a connection to the local end of `listener` and does not wait for it.
    bool beginConnectTo(const Socket_SocketImpl& listener);

private:
    bool doSSLAcceptOrConnect(bool& flag);
    bool makeTLS();
    const Socket_Input& input() const;
    Socket_Input& input();
    int take(char* buffer, std::size_t length, bool& flag, unsigned timeoutSeconds, bool keep);

    EncryptionProtocol protocol_ = ENCRYPTION_NONE;
    bool verifyPeer_ = false;
    Socket_SSLFactory* factory_ = nullptr;
    bool open_ = false;
    Socket_SSLFactory::ConnectionRole role_ = Socket_SSLFactory::NONE;
    std::unique_ptr<Socket_Transport> transport_;
    std::unique_ptr<Socket_TLS> tls_; // goes before the transport that it writes its farewell to
};
