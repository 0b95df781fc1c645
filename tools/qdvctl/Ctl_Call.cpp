#include "qdvctl/Ctl_AgentCommand.h"
#include "qdvctl/Ctl_Input.h"

#include <CLI/CLI.hpp>

#include <iterator>
#include <memory>

namespace {

struct CallOptions {
    std::string method;
    std::vector<std::string> parameters;
    std::string bodyFile;
};

Ctl_Request buildRequest(const CallOptions& options) {
    Ctl_Request request = Ctl_RequestFor(options.method);
    for (const std::string& parameter : options.parameters)
        request.parameters.push_back(Ctl_ParseParameter(parameter));
    if (!options.bodyFile.empty()) {
        const std::string what = "--body " + options.bodyFile;
        std::vector<Ctl_Node> body = Ctl_ParseParameters(Ctl_ReadInput(what, options.bodyFile), what);
        std::move(body.begin(), body.end(), std::back_inserter(request.parameters));
    }
    return request;
}

} // namespace

void Ctl_AddCall(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command =
        app.add_subcommand("call", "Call any method of the agent; all but Ping and PingServer need --uuid");
    const auto options = std::make_shared<CallOptions>();
    command->add_option("method", options->method, "Name of the method, such as GetHostSummary")
        ->type_name("")
        ->required();
    command
        ->add_option("--param", options->parameters,
                     "A parameter: the element Name with this text; repeatable")
        ->type_name("Name=Text")
        ->expected(1)
        ->take_all();
    command
        ->add_option("--body", options->bodyFile,
                     "Parameters as XML elements from a file; - is standard input")
        ->type_name("FILE");
    Ctl_MakeAgentCommand(
        *command, std::make_shared<Ctl_AgentOptions>(), [options] { return buildRequest(*options); }, chosen);
}
