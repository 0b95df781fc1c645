#include "qdvctl/Ctl_AgentCommand.h"

#include <CLI/CLI.hpp>

void Ctl_AddPing(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command =
        app.add_subcommand("ping", "Ask whether the agent is there, and for its version and identity");
    Ctl_MakeAgentCommand(
        *command, std::make_shared<Ctl_AgentOptions>(), [] { return Ctl_RequestFor("Ping"); }, chosen);
}
