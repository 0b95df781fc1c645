#include "qdvctl/Ctl_AgentCommand.h"
#include "qdvctl/Ctl_Switch.h"

#include <CLI/CLI.hpp>

void Ctl_AddVerbose(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand("verbose", "Switch the agent's log file on or off; needs --uuid");
    const auto mode = std::make_shared<std::string>();
    Ctl_AddSwitch(*command, *mode);
    const auto build = [mode] {
        return Ctl_RequestFor("SetVerboseLog", {Ctl_TextElement("VerboseMode", *mode)});
    };
    Ctl_MakeAgentCommand(*command, std::make_shared<Ctl_AgentOptions>(), build, chosen);
}
