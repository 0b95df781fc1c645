#include "net/AgentSSL_Factory.h"
#include "net/HTTP_Server.h"
#include "qdvctl/Ctl_Command.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Layers.h"
#include "qdvctl/Ctl_ServeHandler.h"

#include <CLI/CLI.hpp>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <memory>
#include <thread>
#include <unistd.h>

namespace {

constexpr unsigned workers = 4;
constexpr unsigned stopAttempts = 10;
constexpr std::chrono::milliseconds stopPause{100};

std::string pairName(const HTTP_AddressPortPair& pair) {
    return std::string(pair.getAddress()) + ":" + std::to_string(pair.getPort());
}

/// The server does not tell which address could not be had, nor why. Trying each once more does.
[[noreturn]] void failToListen(const std::vector<HTTP_AddressPortPair*>& pairs) {
    for (const HTTP_AddressPortPair* pair : pairs) {
        const auto socket = Socket_FactoryAllocateSocket();
        errno = 0;
        if (socket->create(Socket_Socket::TRANSPORT_TCP, true) &&
            socket->bind(pair->getAddress(), static_cast<unsigned short>(pair->getPort())) &&
            socket->listen())
            continue;
        const std::string cause = errno == 0 ? "unknown address" : std::strerror(errno);
        throw Ctl_Failure(Ctl_Unanswered, "cannot listen on " + pairName(*pair) + ": " + cause);
    }
    throw Ctl_Failure(Ctl_Unanswered, "cannot start the server");
}

sigset_t blockStopSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&set, signal);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    return set;
}

void waitForSignal(const sigset_t& set) {
    int signal = 0;
    while (sigwait(&set, &signal) != 0) {
    }
}

/// False if a client keeps a worker busy beyond patience.
bool stop(HTTP_Server& server) {
    bool running = true;
    for (unsigned attempt = 0; attempt < stopAttempts && running; ++attempt) {
        if (attempt > 0)
            std::this_thread::sleep_for(stopPause);
        server.shutdown(running, attempt, attempt + 1 == stopAttempts);
    }
    return !running;
}

int serve(const Ctl_ServeOptions& options) {
    const Ctl_Layers layers(Ctl_Layers::NetworkWithTLS);
    // Before any thread starts, so that only sigwait gets them.
    const sigset_t stopSignals = blockStopSignals();
    HTTP_AddressPortPair plain(options.address, options.port);
    HTTP_AddressPortPair tls(options.address, options.tlsPort);
    Ctl_ServeHandlerFactory handlers(options, stdout);
    const auto server = HTTP_FactoryAllocateServer();
    const std::vector<HTTP_AddressPortPair*> pairs{&plain, &tls};
    if (!server->init(pairs, &gSSLFactory, &handlers, workers) || !server->start())
        failToListen(pairs);
    std::fprintf(stderr, "qdvctl: serving on %s and %s; stop with Ctrl-C\n", pairName(plain).c_str(),
                 pairName(tls).c_str());
    waitForSignal(stopSignals);
    if (!stop(*server)) {
        // All calls that came are written already; what still waits on a connection is not waited for.
        std::fflush(stdout);
        _exit(Ctl_Succeeded);
    }
    return Ctl_Succeeded;
}

} // namespace

void Ctl_AddServe(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand(
        "serve", "Stand in for the management server: answer the agent's calls and show them");
    const auto options = std::make_shared<Ctl_ServeOptions>();
    const auto isPort = CLI::Range(1, 65535);
    command->add_option("--port", options->port, "Port for plain calls")
        ->type_name("PORT")
        ->check(isPort)
        ->capture_default_str();
    command->add_option("--tls-port", options->tlsPort, "Port for calls over TLS")
        ->type_name("PORT")
        ->check(isPort)
        ->capture_default_str();
    command->add_option("--address", options->address, "Address to listen on")
        ->type_name("HOST")
        ->capture_default_str();
    command
        ->add_option("--ssl-state", options->sslState, "Answer to GetSSLState: whether calls are to use TLS")
        ->type_name("true|false")
        ->check(CLI::IsMember({"true", "false"}))
        ->capture_default_str();
    command->add_flag("--json", options->json, "Show each call as one line of JSON");
    command->callback([options, &chosen] { chosen = [options] { return serve(*options); }; });
}
