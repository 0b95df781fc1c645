#pragma once

#include "base/File_Descriptor.h"
#include "net/Socket_Buffer.h"
#include "net/Socket_Input.h"
#include "net/Socket_Socket.h"

#include <cstddef>
#include <string_view>
#include <utility>

/// The raw side of a socket: an owned descriptor, the bytes that came over it, and its time limits. Plain
/// reads are served from here, and TLS takes its cipher text from the same buffer, so that bytes which were
/// looked at to tell one from the other are never lost. Used by one thread at a time.
class Socket_Transport : public Socket_Input {
public:
    explicit Socket_Transport(File_Descriptor descriptor) : descriptor_(std::move(descriptor)) {}
    /// Shuts down both directions and closes.
    ~Socket_Transport() override;

    int descriptor() const { return descriptor_.get(); }

    std::string_view arrived() const override { return buffer_.content(); }
    void consume(std::size_t count) override { buffer_.consume(count); }
    bool receiveMore(unsigned timeoutSeconds) override;

    /// Writes everything, waiting as long as the peer goes on reading. The result is the number of bytes
    /// written, less than asked for if the connection broke or the peer stopped reading for
    /// Socket_StalledWriteSeconds.
    std::size_t send(const char* buffer, std::size_t length);
    /// Writes what fits without waiting; for farewells that nobody may be waiting for.
    void sendWithoutWaiting(const char* buffer, std::size_t length);

private:
    bool setReceiveLimit(unsigned timeoutSeconds);

    File_Descriptor descriptor_;
    unsigned receiveLimit_ = Socket_NoTimeLimit;
    Socket_Buffer buffer_;
};

/// How long a write may stand still before the peer counts as gone.
constexpr unsigned Socket_StalledWriteSeconds = 180;

/// Prepares a new TCP socket, and with it every connection that a listener accepts: small writes go out at
/// once, a peer that vanished is noticed, and a write to a peer that does not read ends.
bool Socket_PrepareTCP(int descriptor);
