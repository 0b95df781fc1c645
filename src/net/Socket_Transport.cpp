#include "net/Socket_Transport.h"

#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace {

/// A silent peer is asked after a minute and given up two minutes later.
constexpr int keepAliveIdleSeconds = 60;
constexpr int keepAliveIntervalSeconds = 30;
constexpr int keepAliveProbes = 4;

constexpr std::size_t smallestReceive = 4096;

bool setOption(int descriptor, int level, int name, int value) {
    return ::setsockopt(descriptor, level, name, &value, sizeof value) == 0;
}

bool setTimeLimit(int descriptor, int name, unsigned seconds) {
    timeval limit{};
    if (seconds != Socket_NoTimeLimit)
        limit.tv_sec = static_cast<time_t>(seconds);
    return ::setsockopt(descriptor, SOL_SOCKET, name, &limit, sizeof limit) == 0;
}

} // namespace

bool Socket_AwaitBytes(Socket_Input& input, std::size_t count, unsigned timeoutSeconds) {
    while (input.arrived().size() < count) {
        if (!input.receiveMore(timeoutSeconds))
            return false;
    }
    return true;
}

bool Socket_PrepareTCP(int descriptor) {
    return setOption(descriptor, IPPROTO_TCP, TCP_NODELAY, 1) &&
           setOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, 1) &&
           setOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, keepAliveIdleSeconds) &&
           setOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, keepAliveIntervalSeconds) &&
           setOption(descriptor, IPPROTO_TCP, TCP_KEEPCNT, keepAliveProbes) &&
           setTimeLimit(descriptor, SO_SNDTIMEO, Socket_StalledWriteSeconds);
}

Socket_Transport::~Socket_Transport() {
    ::shutdown(descriptor(), SHUT_RDWR);
}

bool Socket_Transport::setReceiveLimit(unsigned timeoutSeconds) {
    if (timeoutSeconds == receiveLimit_)
        return true;
    if (!setTimeLimit(descriptor(), SO_RCVTIMEO, timeoutSeconds))
        return false;
    receiveLimit_ = timeoutSeconds;
    return true;
}

bool Socket_Transport::receiveMore(unsigned timeoutSeconds) {
    // To the kernel a limit of 0 means none, so "do not wait" is said in another way.
    const int flags = timeoutSeconds == 0 ? MSG_DONTWAIT : 0;
    if (timeoutSeconds != 0 && !setReceiveLimit(timeoutSeconds))
        return false;
    char* space = buffer_.reserve(smallestReceive);
    ssize_t count = -1;
    do {
        count = ::recv(descriptor(), space, buffer_.room(), flags);
    } while (count < 0 && errno == EINTR);
    if (count <= 0)
        return false;
    buffer_.added(static_cast<std::size_t>(count));
    return true;
}

std::size_t Socket_Transport::send(const char* buffer, std::size_t length) {
    // One call blocks until all is queued. It returns early only when its time limit passes; a peer that has
    // read something meanwhile is slow and gets another turn, one that has read nothing is gone.
    std::size_t written = 0;
    while (written < length) {
        const ssize_t count = ::send(descriptor(), buffer + written, length - written, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        written += static_cast<std::size_t>(count);
    }
    return written;
}

void Socket_Transport::sendWithoutWaiting(const char* buffer, std::size_t length) {
    ::send(descriptor(), buffer, length, MSG_NOSIGNAL | MSG_DONTWAIT);
}
