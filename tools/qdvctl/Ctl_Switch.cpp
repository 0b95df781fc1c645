#include "qdvctl/Ctl_Switch.h"

#include <CLI/CLI.hpp>

void Ctl_AddSwitch(CLI::App& command, std::string& value) {
    command.add_option("switch", value, "on or off")
        ->required()
        ->type_name("")
        ->check(CLI::IsMember({"on", "off"}));
}
