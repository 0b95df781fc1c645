#pragma once

#include <cstddef>
#include <string_view>

/// A stream of bytes that arrive in pieces: what a parser of outside data reads from, so that it can be fed
/// from a socket, from TLS or from memory alike. Used by one thread at a time.
class Socket_Input {
public:
    Socket_Input() = default;
    Socket_Input(const Socket_Input&) = delete;
    Socket_Input& operator=(const Socket_Input&) = delete;
    virtual ~Socket_Input() = default;

    /// What has arrived and was not consumed yet. Valid until the next call of one of the other operations.
    virtual std::string_view arrived() const = 0;
    /// Takes bytes off the front; at most as many as have arrived.
    virtual void consume(std::size_t count) = 0;
    /// Waits until more has arrived. False at the end of the stream, on a failure, or when the time limit
    /// (seconds) passes first.
    virtual bool receiveMore(unsigned timeoutSeconds) = 0;
};

/// Receives until at least `count` bytes have arrived; false if they don't.
bool Socket_AwaitBytes(Socket_Input& input, std::size_t count, unsigned timeoutSeconds);
