#pragma once

#include <functional>

namespace CLI {
class App;
}

/// What the command line asks for; the result is the exit status. Runs after the whole line was understood.
using Ctl_Action = std::function<int()>;

/// One function for each subcommand, in a file of its own: adds it to `app`; if the command line names it,
/// `chosen` is set. Both must outlive the parsing.
void Ctl_AddPing(CLI::App& app, Ctl_Action& chosen);
void Ctl_AddCall(CLI::App& app, Ctl_Action& chosen);
void Ctl_AddVerbose(CLI::App& app, Ctl_Action& chosen);
void Ctl_AddSSL(CLI::App& app, Ctl_Action& chosen);
void Ctl_AddHost(CLI::App& app, Ctl_Action& chosen);
void Ctl_AddAudit(CLI::App& app, Ctl_Action& chosen);
void Ctl_AddFiles(CLI::App& app, Ctl_Action& chosen);
void Ctl_AddSearch(CLI::App& app, Ctl_Action& chosen);
void Ctl_AddAction(CLI::App& app, Ctl_Action& chosen);
void Ctl_AddServe(CLI::App& app, Ctl_Action& chosen);
void Ctl_AddConfig(CLI::App& app, Ctl_Action& chosen);
