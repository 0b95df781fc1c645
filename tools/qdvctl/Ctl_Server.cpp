#include "qdvctl/Ctl_Server.h"

#include "net/AgentSSL_Factory.h"
#include "qdvctl/Ctl_Failure.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

namespace {

constexpr unsigned workers = 4;
constexpr unsigned stopAttempts = 10;
constexpr std::chrono::milliseconds stopPause{100};

std::string pairName(const HTTP_AddressPortPair& pair) {
    return pair.address() + ":" + std::to_string(pair.getPort());
}

/// The server does not tell which address could not be had, nor why. Trying them once more does, all of them
/// together, since one may be in the way of another.
[[noreturn]] void failToListen(const std::vector<HTTP_AddressPortPair>& pairs) {
    std::vector<std::unique_ptr<Socket_Socket>> sockets;
    for (const HTTP_AddressPortPair& pair : pairs) {
        const auto& socket = sockets.emplace_back(Socket_FactoryAllocateSocket());
        errno = 0;
        if (socket->create(Socket_Socket::TRANSPORT_TCP, true) &&
            socket->bind(pair.getAddress(), static_cast<unsigned short>(pair.getPort())) && socket->listen())
            continue;
        const std::string cause = errno == 0 ? "unknown address" : std::strerror(errno);
        throw Ctl_Failure(Ctl_Unanswered, "cannot listen on " + pairName(pair) + ": " + cause);
    }
    throw Ctl_Failure(Ctl_Unanswered, "cannot start the server");
}

/// A port of 0 is none.
std::vector<HTTP_AddressPortPair> wantedPairs(const Ctl_ServeOptions& options) {
    std::vector<HTTP_AddressPortPair> pairs;
    for (const unsigned short port : {options.port, options.tlsPort})
        if (port != 0)
            pairs.emplace_back(options.address, port);
    return pairs;
}

} // namespace

Ctl_Server::Ctl_Server(const Ctl_ServeOptions& options, std::FILE* output, Ctl_CallObserver observer)
    : pairs_(wantedPairs(options)), handlers_(options, output, std::move(observer)),
      server_(HTTP_FactoryAllocateServer()) {
    std::vector<HTTP_AddressPortPair*> pairs;
    for (HTTP_AddressPortPair& pair : pairs_)
        pairs.push_back(&pair);
    if (!server_->init(pairs, &gSSLFactory, &handlers_, workers) || !server_->start())
        failToListen(pairs_);
}

Ctl_Server::~Ctl_Server() {
    stop();
}

bool Ctl_Server::stop() {
    bool running = true;
    for (unsigned attempt = 0; attempt < stopAttempts && running; ++attempt) {
        if (attempt > 0)
            std::this_thread::sleep_for(stopPause);
        server_->shutdown(running, attempt, attempt + 1 == stopAttempts);
    }
    return !running;
}

std::string Ctl_Server::describe() const {
    std::string text;
    for (const HTTP_AddressPortPair& pair : pairs_)
        text.append(text.empty() ? "" : " and ").append(pairName(pair));
    return text;
}
