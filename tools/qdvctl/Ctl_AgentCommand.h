#pragma once

#include "qdvctl/Ctl_AgentOptions.h"
#include "qdvctl/Ctl_Command.h"
#include "qdvctl/Ctl_Envelope.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

struct Ctl_Reply;

/// The results of a reply, the elements below Response, as text for a person; ends with a line feed.
using Ctl_View = std::function<std::string(const std::vector<Ctl_Node>& results)>;

/// Makes a subcommand one that calls a method of an agent: adds the options of the agent, and has the call
/// made, its reply shown in the form asked for, and the exit status taken from it. `build` is called with all
/// libraries up and gives the method and its parameters; it may throw Ctl_Failure. The options are shared
/// with it. Without a view the results are shown as they are. `finish` is called at the end, however the call
/// went, with the libraries still up.
void Ctl_MakeAgentCommand(CLI::App& command, const std::shared_ptr<Ctl_AgentOptions>& options,
                          std::function<Ctl_Request()> build, Ctl_Action& chosen, Ctl_View view = {},
                          std::function<void()> finish = {});

/// The same for a command that calls several methods, one after the other. Their results are shown together,
/// under the name of the command; the first refusal ends it and is shown alone.
void Ctl_MakeAgentCommand(CLI::App& command, const std::shared_ptr<Ctl_AgentOptions>& options,
                          std::function<std::vector<Ctl_Request>()> build, Ctl_Action& chosen,
                          Ctl_View view = {}, std::function<void()> finish = {});

/// Tells on standard error that the agent refused a method, and what can be done about it, and returns the
/// exit status of that.
int Ctl_TellRefusal(const std::string& method, const Ctl_Reply& reply);
