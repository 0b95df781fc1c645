#pragma once

#include <memory>
#include <string>

namespace CLI {
class App;
class FormatterBase;
} // namespace CLI

/// The layout of help: no line is wider than a terminal of 80 columns.
std::shared_ptr<CLI::FormatterBase> Ctl_HelpFormatter();

/// The command that a parsed line names, as far as it could be read, such as "qdvctl config check".
std::string Ctl_NamedCommand(const CLI::App& app);
