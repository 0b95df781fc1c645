#include "qdvctl/Ctl_AgentCommand.h"
#include "storage/Storage_Levels.h"

#include <CLI/CLI.hpp>

#include <map>
#include <memory>
#include <string>

namespace {

/// What can be audited, with the method for it.
std::map<std::string, std::string> audits() {
    std::map<std::string, std::string> methods = {{"all", "GetStorageSystem"}};
    for (const Storage_Level& level : Storage_Levels)
        methods.emplace(level.word, level.method);
    return methods;
}

std::string words() {
    std::string text;
    for (const Storage_Level& level : Storage_Levels)
        text += level.word + std::string(", ");
    return text + "or all";
}

} // namespace

void Ctl_AddAudit(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand(
        "audit",
        "Have the agent audit a level of its storage; needs --uuid. All levels together go to its server");
    const auto methods = audits();
    const auto word = std::make_shared<std::string>();
    command->add_option("level", *word, words())->type_name("")->required()->check(CLI::IsMember(methods));
    Ctl_MakeAgentCommand(
        *command, std::make_shared<Ctl_AgentOptions>(),
        [methods, word] { return Ctl_RequestFor(methods.at(*word)); }, chosen);
}
