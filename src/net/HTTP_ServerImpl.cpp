#include "net/HTTP_ServerImpl.h"

#include "base/String_Functions.h"
#include "log/Debug_Printf.h"
#include "net/HTTP_AcceptRunnable.h"
#include "net/Socket_Address.h"
#include "threads/MutexLock.h"
#include "threads/Thread_Service.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace {

constexpr unsigned fewestWorkers = 2;
constexpr unsigned workerGrowth = 10;

constexpr const char* logName = "HTTP";
constexpr Thread_ServiceTexts logTexts{.currentlyRunning = ": startup failed"};

/// Port 0 stands for one that the system chooses.
bool canListenOn(int port) {
    return port == 0 || HTTP_IsPort(port);
}

/// False, to be returned.
bool cannotListen(const HTTP_AddressPortPair& pair, const std::string& reason) {
    DEBUG_LOG("HTTP: cannot listen on %s port %d: %s\n", pair.address().c_str(), pair.getPort(),
              reason.c_str());
    return false;
}

} // namespace

std::unique_ptr<HTTP_Server> HTTP_FactoryAllocateServer() {
    return std::make_unique<HTTP_ServerImpl>();
}

bool HTTP_LayerInit() {
    return Socket_LayerInit();
}

void HTTP_LayerCleanup() {
    Socket_LayerCleanup();
}

HTTP_ServerImpl::HTTP_ServerImpl() = default;

HTTP_ServerImpl::~HTTP_ServerImpl() = default;

bool HTTP_ServerImpl::init(const std::vector<HTTP_AddressPortPair*>& pairs, Socket_SSLFactory* sslFactory,
                           HTTP_RequestHandlerFactory* handlerFactory, unsigned workers) {
    const MutexLock lock(mutex());
    if (checkForErrorBeforeStart(false, false) || sslFactory == nullptr || handlerFactory == nullptr)
        return false;
    if (!acceptPool_.init(static_cast<unsigned>(pairs.size()), 0, 0) ||
        !workerPool_.init(std::max(workers, fewestWorkers), Thread_Pool::Unlimited, workerGrowth))
        return false;
    sslFactory_ = sslFactory;
    handlerFactory_ = handlerFactory;
    sockets_.clear();
    const auto opened = [this](const HTTP_AddressPortPair* pair) {
        return pair == nullptr || openSocket(*pair);
    };
    if (std::all_of(pairs.rbegin(), pairs.rend(), opened))
        return true;
    closeSockets();
    return false;
}

bool HTTP_ServerImpl::openSocket(const HTTP_AddressPortPair& pair) {
    auto opened = std::make_unique<HTTP_SocketPair>();
    opened->pair = pair;
    opened->socket.registerSSLFactory(sslFactory_);
    if (!canListenOn(pair.getPort()))
        return cannotListen(pair, "this is no port");
    if (!opened->socket.create(Socket_Socket::TRANSPORT_TCP, true) ||
        !opened->socket.bind(pair.getAddress(), static_cast<unsigned short>(pair.getPort())) ||
        !opened->socket.listen()) {
        const std::string cause = nxGetLastErrorMessage();
        const bool known = pair.getAddress() != nullptr && Socket_ResolveAddress(pair.getAddress());
        return cannotListen(pair, known ? cause : "the address is unknown");
    }
    sockets_.push_back(std::move(opened));
    return true;
}

bool HTTP_ServerImpl::start() {
    return Thread_StartService(*this, logName, logTexts, [this] { return startThreads(); });
}

bool HTTP_ServerImpl::startThreads() {
    if (handlerFactory_ == nullptr || !acceptPool_.start() || !workerPool_.start())
        return false;
    for (const auto& listening : sockets_) {
        auto runnable = std::make_unique<HTTP_AcceptRunnable>(listening->socket, workerPool_,
                                                              *handlerFactory_, handlerMutex_);
        if (!acceptPool_.handleRunnable(std::move(runnable), false))
            return false;
    }
    return true;
}

bool HTTP_ServerImpl::shutdown(bool& stillRunning, unsigned attempt, bool lastAttempt) {
    return Thread_ShutDownService(*this, logName, logTexts, {&acceptPool_, &workerPool_}, stillRunning,
                                  attempt, lastAttempt);
}

void HTTP_ServerImpl::closeSockets() {
    sockets_.clear();
}

std::vector<unsigned short> HTTP_ServerImpl::getPorts() const {
    std::vector<unsigned short> ports;
    std::transform(sockets_.rbegin(), sockets_.rend(), std::back_inserter(ports),
                   [](const auto& listening) { return listening->socket.getLocalPort(); });
    return ports;
}
