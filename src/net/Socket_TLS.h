#pragma once

#include "net/Socket_Buffer.h"
#include "net/Socket_Input.h"
#include "net/Socket_Transport.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct ssl_st;

struct Socket_TLSRelease {
    void operator()(ssl_st* ssl) const;
};
using Socket_TLSPtr = std::unique_ptr<ssl_st, Socket_TLSRelease>;

/// Takes the oldest error of this thread out of the library's queue: its number and its text.
std::string Socket_TLSError();

/// One TLS connection over a transport: cipher text is taken from the transport's buffer before its
/// descriptor is read, decrypted bytes lie in a buffer of their own. The transport must outlive it. Used by
/// one thread at a time.
class Socket_TLS : public Socket_Input {
public:
    /// Over a connection object of the TLS library. Throws std::bad_alloc.
    Socket_TLS(Socket_TLSPtr ssl, Socket_Transport& transport);
    /// Says goodbye to the peer if the connection is in order, without waiting for anything.
    ~Socket_TLS() override;

    bool isEstablished() const;
    /// The handshake, each wait in it bounded. False leaves the reason in the library's error queue.
    bool handshakeAsClient();
    bool handshakeAsServer();
    /// Whether the peer has shown a certificate.
    bool hasPeerCertificate() const;

    std::string_view arrived() const override { return plain_.content(); }
    void consume(std::size_t count) override { plain_.consume(count); }
    bool receiveMore(unsigned timeoutSeconds) override;

    /// The number of bytes written: all, or 0 or less on a failure.
    int write(const char* buffer, int length);

private:
    friend struct Socket_TLSBio;

    bool hasCipherText();
    bool collect(std::string_view records);
    bool sendCollected();

    Socket_Transport& transport_;
    Socket_TLSPtr ssl_;
    Socket_Buffer plain_;
    unsigned receiveLimit_;
    std::string* collected_ = nullptr; ///< the cipher text of a large write, while there is one
    bool broken_ = false;
    bool farewell_ = false;
};
