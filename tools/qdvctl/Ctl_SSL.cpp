#include "qdvctl/Ctl_AgentClient.h"
#include "qdvctl/Ctl_Command.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Switch.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace {

struct SSLOptions {
    Ctl_AgentOptions agent;
    std::string mode;
};

int setSSL(const SSLOptions& options) {
    if (!options.agent.tls || options.agent.uuid.empty())
        throw Ctl_Failure(Ctl_WrongUsage,
                          "ssl needs --tls and --uuid: the agent takes this from nobody else");
    Ctl_Request request;
    request.method = "SetCallServerWithSSL";
    request.parameters = {Ctl_TextElement("CallServerWithSSL", options.mode == "on" ? "true" : "false")};
    return Ctl_CallAndShow(options.agent, std::move(request));
}

} // namespace

void Ctl_AddSSL(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand(
        "ssl", "Have the agent call its server over TLS or in clear; needs --tls and --uuid");
    const auto options = std::make_shared<SSLOptions>();
    Ctl_AddSwitch(*command, options->mode);
    Ctl_AddAgentOptions(*command, options->agent);
    command->callback([options, &chosen] { chosen = [options] { return setSSL(*options); }; });
}
