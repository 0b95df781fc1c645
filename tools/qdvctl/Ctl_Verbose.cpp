#include "qdvctl/Ctl_AgentClient.h"
#include "qdvctl/Ctl_Command.h"
#include "qdvctl/Ctl_Switch.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace {

struct VerboseOptions {
    Ctl_AgentOptions agent;
    std::string mode;
};

} // namespace

void Ctl_AddVerbose(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand("verbose", "Switch the agent's log file on or off; needs --uuid");
    const auto options = std::make_shared<VerboseOptions>();
    Ctl_AddSwitch(*command, options->mode);
    Ctl_AddAgentOptions(*command, options->agent);
    command->callback([options, &chosen] {
        chosen = [options] {
            Ctl_Request request;
            request.method = "SetVerboseLog";
            request.parameters = {Ctl_TextElement("VerboseMode", options->mode)};
            return Ctl_CallAndShow(options->agent, std::move(request));
        };
    });
}
