#include "qdvctl/Ctl_AgentCommand.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Switch.h"

#include <CLI/CLI.hpp>

void Ctl_AddSSL(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand(
        "ssl", "Have the agent call its server over TLS or in clear; needs --tls and --uuid");
    const auto mode = std::make_shared<std::string>();
    Ctl_AddSwitch(*command, *mode);
    const auto options = std::make_shared<Ctl_AgentOptions>();
    const auto build = [mode, options] {
        if (!options->tls || options->uuid.empty())
            throw Ctl_Failure(Ctl_WrongUsage,
                              "ssl needs --tls and --uuid: the agent takes this from nobody else");
        const char* value = *mode == "on" ? "true" : "false";
        return Ctl_RequestFor("SetCallServerWithSSL", {Ctl_TextElement("CallServerWithSSL", value)});
    };
    Ctl_MakeAgentCommand(*command, options, build, chosen);
}
