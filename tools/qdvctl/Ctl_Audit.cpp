#include "qdvctl/Ctl_AgentCommand.h"

#include <CLI/CLI.hpp>

#include <map>
#include <memory>
#include <string>

namespace {

const std::map<std::string, std::string> methodsByLayer = {
    {"drives", "GetPhysicalDrives"},  {"extents", "GetDriveExtents"},
    {"pools", "GetExtentPools"},      {"plexes", "GetPlexes"},
    {"volumes", "GetStorageVolumes"}, {"associations", "GetStorageAssociations"},
    {"all", "GetStorageSystem"},
};

} // namespace

void Ctl_AddAudit(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand(
        "audit", "Have the agent audit a layer of its storage; all layers together go to its server");
    const auto layer = std::make_shared<std::string>();
    command->add_option("layer", *layer, "drives, extents, pools, plexes, volumes, associations, or all")
        ->type_name("")
        ->required()
        ->check(CLI::IsMember(&methodsByLayer));
    Ctl_MakeAgentCommand(
        *command, std::make_shared<Ctl_AgentOptions>(),
        [layer] { return Ctl_RequestFor(methodsByLayer.at(*layer)); }, chosen);
}
