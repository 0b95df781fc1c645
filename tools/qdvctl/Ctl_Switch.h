#pragma once

#include <string>

namespace CLI {
class App;
}

/// Adds the argument "on" or "off" of a command that switches something. `value` must outlive the parsing.
void Ctl_AddSwitch(CLI::App& command, std::string& value);
