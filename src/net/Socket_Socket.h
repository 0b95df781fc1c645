#pragma once

#include <memory>

/// Makes the TLS objects of sockets. The pointers are those of the TLS library behind the factory, opaque
/// here so that no user of sockets needs that library's headers. Implementations are thread-safe: all sockets
/// share one.
class Socket_SSLFactory {
public:
    enum ConnectionRole { CLIENT = 0, SERVER = 1, NONE = 999 };

    virtual ~Socket_SSLFactory() = default;
    /// A context for the role, of which the caller owns one reference; null on failure, which is logged.
    virtual void* createSSLContext(ConnectionRole role) = 0;
    /// A new connection object over `context`, owned by the caller; null on failure, which is logged.
    virtual void* createSSL(void* context) = 0;
};

/// A time limit in seconds that never passes.
constexpr unsigned Socket_NoTimeLimit = 0xFFFFFFFF;

/// One end of a TCP connection, or a listener, plain or TLS. Used by one thread at a time.
///
/// Reading goes through a buffer inside the socket, so that small reads and peeks cost no system call each.
/// Time limits are in seconds and hold for each wait, not for the whole call. Nothing here throws but
/// std::bad_alloc; failures are a false result or -1.
class Socket_Socket {
public:
    /// Any int is a value of the type: what a connection claims is judged, not trusted.
    enum EncryptionProtocol : int { ENCRYPTION_NONE = 0, ENCRYPTION_SSL = 1 };
    enum TransportProtocol { TRANSPORT_TCP = 0, TRANSPORT_UDP = 1 };

    Socket_Socket() = default;
    Socket_Socket(const Socket_Socket&) = delete;
    Socket_Socket& operator=(const Socket_Socket&) = delete;
    virtual ~Socket_Socket() = default;

    /// The factory is borrowed and must outlive the socket.
    virtual bool registerSSLFactory(Socket_SSLFactory* factory) = 0;
    virtual EncryptionProtocol getEncryptionProtocol() const = 0;
    virtual bool setEncryptionProtocol(EncryptionProtocol protocol) = 0;
    virtual bool getEncryptionProtocolVerifyPeer() const = 0;
    /// Stores the wish. On a live TLS connection it is false if a certificate is wanted and the peer showed
    /// none.
    virtual bool setEncryptionProtocolVerifyPeer(bool verify) = 0;

    virtual bool create(TransportProtocol transport, bool reuseAddress) = 0;
    /// Moves the connection of `source` here, with what has been received and not yet read: `source` is
    /// closed afterwards and keeps its settings.
    virtual bool copy(Socket_Socket* source) = 0;
    virtual bool isValid() const = 0;
    /// A null address fails, an empty one means any address.
    virtual bool bind(const char* address, unsigned short port) = 0;
    virtual bool listen() = 0;
    virtual bool connect(const char* address, unsigned short port) = 0;
    /// Blocks. On failure `target` is closed and errno tells why.
    virtual bool accept(Socket_Socket* target) = 0;

    /// Reads exactly `length` bytes; -1 if they did not all arrive. `flag` is cleared.
    virtual int read(char* buffer, unsigned length, bool& flag, unsigned timeoutSeconds) = 0;
    /// As read, and the bytes stay to be read again.
    virtual int peek(char* buffer, unsigned length, bool& flag, unsigned timeoutSeconds) = 0;
    /// The number of bytes written: all of them unless the connection broke or the peer stopped reading.
    virtual int write(const char* buffer, unsigned length, bool& flag) = 0;
    /// A closed socket can be created and connected again.
    virtual bool close() = 0;
};

/// A closed socket over the platform's sockets.
std::unique_ptr<Socket_Socket> Socket_FactoryAllocateSocket();

bool Socket_LayerInit();
void Socket_LayerCleanup();
