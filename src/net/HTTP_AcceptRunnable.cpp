#include "net/HTTP_AcceptRunnable.h"

#include "base/File_Descriptor.h"
#include "net/HTTP_WorkerRunnable.h"
#include "threads/MutexLock.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <iterator>
#include <memory>
#include <new>
#include <sys/resource.h>

namespace {

/// How long a port rests when the host has no descriptor or memory left for another connection. A semaphore
/// counts its limit from the start of the current second, so this is between 0.1 and 1.1 seconds.
constexpr unsigned shortageWaitMilliseconds = 1100;

/// What accept(2) reports about one connection that went wrong, or about a shortage that passes. The listener
/// itself is as good as before.
bool isTransient(int error) {
    constexpr int transient[] = {EINTR,       ECONNABORTED, EAGAIN, EMFILE,       ENFILE,
                                 ENOBUFS,     ENOMEM,       EPERM,  EPROTO,       ENETDOWN,
                                 ENOPROTOOPT, EHOSTDOWN,    ENONET, EHOSTUNREACH, ENETUNREACH};
    return std::find(std::begin(transient), std::end(transient), error) != std::end(transient);
}

bool isWorthNoWait(int error) {
    return error == EINTR || error == ECONNABORTED;
}

/// Connections leave so many descriptors, or a quarter of few, to the work that they ask for: files, calls
/// and commands of the host.
constexpr rlim_t reservedDescriptors = 128;

int firstReserved() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return INT_MAX;
    const rlim_t first = limit.rlim_cur - std::min(reservedDescriptors, limit.rlim_cur / 4);
    return static_cast<int>(std::min<rlim_t>(first, INT_MAX));
}

/// A new descriptor gets the lowest free number, so its number tells whether there is still room.
bool leavesReserve(int descriptor) {
    static const int limit = firstReserved();
    if (descriptor < limit)
        return true;
    const File_Descriptor lowest(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    return lowest.get() != -1 && lowest.get() < limit;
}

} // namespace

void HTTP_AcceptRunnable::run() {
    while (!isToldToTerminate() && acceptOne()) {
    }
}

/// False if the listener has failed for good.
bool HTTP_AcceptRunnable::acceptOne() {
    int error = 0;
    try {
        Socket_SocketImpl connection;
        if (listener_.accept(&connection)) {
            while (!isToldToTerminate() && !leavesReserve(connection.descriptor()))
                waitForSemaphore(shortageWaitMilliseconds);
            if (!isToldToTerminate())
                handOver(connection);
            return true;
        }
        error = errno;
    } catch (const std::bad_alloc&) {
        error = ENOMEM;
    } catch (...) {
        // A handler or a pool that fails costs the connection that it was for.
        return true;
    }
    if (!isTransient(error))
        return false;
    if (!isWorthNoWait(error))
        waitForSemaphore(shortageWaitMilliseconds);
    return true;
}

/// What is not handed over closes with its owner on the way out.
void HTTP_AcceptRunnable::handOver(Socket_SocketImpl& connection) {
    std::unique_ptr<HTTP_RequestHandler> handler;
    {
        const MutexLock lock(handlerMutex_.get());
        handler = handlers_.createHandler();
    }
    if (handler == nullptr)
        return;
    auto worker = std::make_unique<HTTP_WorkerRunnable>(std::move(handler));
    if (worker->getSocket().copy(&connection))
        workers_.handleRunnable(std::move(worker), true);
}

bool HTTP_AcceptRunnable::setToTerminate() {
    const bool told = Thread_Runnable::setToTerminate();
    return wake_.create(Socket_Socket::TRANSPORT_TCP, false) && wake_.beginConnectTo(listener_) && told;
}
