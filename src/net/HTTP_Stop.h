#pragma once

class Socket_SocketImpl;

/// What the stop of the process means for HTTP. Thread-safe; a stop that has begun cannot be taken back.

/// Connections that are served end after the request in hand from now on, and the reply to it says so.
void HTTP_BeginStop();
bool HTTP_IsStopping();

/// Breaks off every exchange with a server, whatever it waits for but a name to be resolved. One that begins
/// afterwards may get as far as its connection, so whoever stops repeats this until all is over.
void HTTP_BreakOffCalls();
/// Whether an exchange with a server is under way.
bool HTTP_HasCallsUnderWay();

/// An exchange with a server, from its socket's creation until just before that is closed: what
/// HTTP_BreakOffCalls ends.
class HTTP_CallUnderWay {
public:
    /// The socket is borrowed.
    explicit HTTP_CallUnderWay(Socket_SocketImpl& socket);
    HTTP_CallUnderWay(const HTTP_CallUnderWay&) = delete;
    HTTP_CallUnderWay& operator=(const HTTP_CallUnderWay&) = delete;
    ~HTTP_CallUnderWay();

private:
    Socket_SocketImpl& socket_;
};
