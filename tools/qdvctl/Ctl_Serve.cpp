#include "qdvctl/Ctl_AgentOptions.h"
#include "qdvctl/Ctl_Command.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Layers.h"
#include "qdvctl/Ctl_Server.h"
#include "qdvctl/Ctl_Text.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <memory>
#include <unistd.h>

namespace {

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

int serve(const Ctl_ServeOptions& options) {
    const Ctl_Layers layers(Ctl_Layers::NetworkWithTLS);
    // Before any thread starts, so that only sigwait gets them.
    const sigset_t stopSignals = blockStopSignals();
    Ctl_Server server(options, stdout);
    Ctl_Say("serving on " + server.describe() + "; stop with Ctrl-C");
    waitForSignal(stopSignals);
    if (!server.stop()) {
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
    Ctl_AddServerPorts(*command, options->port, options->tlsPort);
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
