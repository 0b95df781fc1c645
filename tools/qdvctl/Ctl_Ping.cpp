#include "qdvctl/Ctl_AgentClient.h"
#include "qdvctl/Ctl_Command.h"

#include <CLI/CLI.hpp>

#include <memory>

void Ctl_AddPing(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command =
        app.add_subcommand("ping", "Ask whether the agent is there, and for its version and identity");
    const auto options = std::make_shared<Ctl_AgentOptions>();
    Ctl_AddAgentOptions(*command, *options);
    command->callback([options, &chosen] {
        chosen = [options] {
            Ctl_Request request;
            request.method = "Ping";
            return Ctl_CallAndShow(*options, std::move(request));
        };
    });
}
