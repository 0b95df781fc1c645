#include "net/HTTP_AddressPortPair.h"
#include "qdvctl/Ctl_AgentCommand.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Input.h"
#include "qdvctl/Ctl_Password.h"
#include "qdvctl/Ctl_Server.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>

namespace {

struct ActionOptions {
    std::string script;
    std::string name = "qdvctl";
    std::string id = "1";
    std::string templateName = "qdvctl";
    std::vector<std::string> members;
    unsigned short reportPort = 0;
};

/// The server that receives the report while the agent runs the action.
struct Report {
    Ctl_ServeOptions options;
    std::optional<Ctl_Server> server;
};

Ctl_Node parameter(const char* name, std::string text) {
    Ctl_Node node = Ctl_TextElement("MethodParameter", std::move(text));
    node.attributes.emplace_back("name", name);
    return node;
}

/// The user goes into the parameters and not into the request, so both are taken out of the shared options.
void addUser(Ctl_AgentOptions& agent, Ctl_Request& request) {
    if (agent.user.empty())
        throw Ctl_Failure(Ctl_WrongUsage, "--user is needed: the system user as whom the script runs");
    request.systemPassword = Ctl_ObtainPassword(agent.user, agent.passwordDescriptor);
    request.parameters.push_back(parameter("sysuserid", agent.user));
    agent.user.clear();
}

Ctl_Request buildAction(const char* method, Ctl_AgentOptions& agent, const ActionOptions& action) {
    Ctl_Request request = Ctl_RequestFor(method);
    std::string script = Ctl_ReadInput(action.script, action.script);
    addUser(agent, request);
    request.parameters.push_back(parameter("actionname", action.name));
    request.parameters.push_back(parameter("actionid", action.id));
    request.parameters.push_back(parameter("actionscript", std::move(script)));
    return request;
}

Ctl_Request buildSubmit(Ctl_AgentOptions& agent, const ActionOptions& action, Report& report) {
    Ctl_Request request = buildAction("SubmitAction", agent, action);
    Ctl_Node group{"MethodParameter", {}, {{"name", "group"}}, {}};
    for (const std::string& member : action.members)
        group.children.push_back(parameter("groupmember", member));
    request.parameters.push_back(std::move(group));
    if (action.reportPort != 0) {
        report.options.port = 0;
        report.options.tlsPort = action.reportPort;
        report.options.json = agent.json;
        report.server.emplace(report.options, stdout);
    }
    return request;
}

/// These methods are served over TLS only.
std::shared_ptr<Ctl_AgentOptions> agentOverTLS() {
    auto options = std::make_shared<Ctl_AgentOptions>();
    options->tls = true;
    return options;
}

void addScriptOptions(CLI::App& command, ActionOptions& action) {
    command.add_option("script", action.script, "The action script; - is standard input")
        ->type_name("FILE")
        ->required();
    command.add_option("--name", action.name, "Name of the action")->capture_default_str();
    command.add_option("--id", action.id, "Number of the action")->capture_default_str();
}

void addSubmit(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand("submit", "Run a script now, as a system user; its members are "
                                                     "reported to the server. Needs --uuid and --user");
    const auto action = std::make_shared<ActionOptions>();
    const auto agent = agentOverTLS();
    const auto report = std::make_shared<Report>();
    addScriptOptions(*command, *action);
    command
        ->add_option("--member", action->members,
                     "What an object scriptlet works on, one for each in their order; repeatable")
        ->type_name("PATH")
        ->expected(1)
        ->take_all();
    command
        ->add_option(
            "--report-port", action->reportPort,
            "Receive the agent's report here, on the TLS port that its agent.conf names for the server")
        ->type_name("PORT")
        ->check(CLI::Range(1, HTTP_HighestPort));
    Ctl_MakeAgentCommand(
        *command, agent, [=] { return buildSubmit(*agent, *action, *report); }, chosen, {},
        [report] { report->server.reset(); });
}

void addSave(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand(
        "save", "Store a script on the host, owned by a system user; needs --uuid and --user");
    const auto action = std::make_shared<ActionOptions>();
    const auto agent = agentOverTLS();
    addScriptOptions(*command, *action);
    command->add_option("--template", action->templateName, "Name of the template")->capture_default_str();
    Ctl_MakeAgentCommand(
        *command, agent,
        [=] {
            Ctl_Request request = buildAction("SaveAction", *agent, *action);
            request.parameters.push_back(parameter("templatename", action->templateName));
            return request;
        },
        chosen);
}

void addList(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand("list", "List the scripts that the agent offers; needs --uuid");
    Ctl_MakeAgentCommand(
        *command, agentOverTLS(), [] { return Ctl_RequestFor("GetActionScriptList"); }, chosen);
}

} // namespace

void Ctl_AddAction(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand("action", "Run, store and list action scripts; needs --uuid");
    command->require_subcommand(1);
    for (auto* add : {addSubmit, addSave, addList})
        add(*command, chosen);
}
