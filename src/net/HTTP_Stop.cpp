#include "net/HTTP_Stop.h"

#include "net/Socket_SocketImpl.h"

#include <atomic>
#include <mutex>
#include <vector>

namespace {

std::atomic<bool> stopping{false};

std::mutex callsMutex;
std::vector<Socket_SocketImpl*> calls; // guarded by callsMutex

} // namespace

void HTTP_BeginStop() {
    stopping = true;
}

bool HTTP_IsStopping() {
    return stopping;
}

void HTTP_BreakOffCalls() {
    const std::lock_guard lock(callsMutex);
    for (Socket_SocketImpl* socket : calls)
        socket->breakOff();
}

bool HTTP_HasCallsUnderWay() {
    const std::lock_guard lock(callsMutex);
    return !calls.empty();
}

HTTP_CallUnderWay::HTTP_CallUnderWay(Socket_SocketImpl& socket) : socket_(socket) {
    const std::lock_guard lock(callsMutex);
    calls.push_back(&socket);
}

HTTP_CallUnderWay::~HTTP_CallUnderWay() {
    const std::lock_guard lock(callsMutex);
    std::erase(calls, &socket_);
}
