#include "qdvctl/Ctl_AgentCommand.h"

#include "qdvctl/Ctl_AgentClient.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Layers.h"
#include "qdvctl/Ctl_Render.h"
#include "qdvctl/Ctl_Text.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <iterator>
#include <unistd.h>
#include <utility>

namespace {

/// The words of a reply that every method has, in the order in which they are shown.
constexpr const char* replyWords[] = {"response", "reason", "type", "name", "uuid"};

void printTo(std::FILE* stream, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stream);
}

void showRaw(const std::string& body) {
    const bool endsLine = !body.empty() && body.back() == '\n';
    printTo(stdout, isatty(STDOUT_FILENO) != 0 ? Ctl_PrintableLines(body) : body);
    if (!endsLine)
        printTo(stdout, "\n");
}

void showJson(const Ctl_Node& response) {
    std::vector<std::pair<std::string, std::string>> words;
    for (const char* name : replyWords)
        if (const std::string* value = response.attribute(name))
            words.emplace_back(name, *value);
    printTo(stdout, Ctl_RenderJson(words, response.children) + "\n");
}

void showText(const std::string& agent, const std::string& method, const Ctl_Reply& reply,
              const Ctl_View& view) {
    const std::string reason = reply.response.word("reason");
    std::string headline = agent + " " + method + ": " + reply.response.word("response");
    if (!reply.isSuccess() && !reason.empty())
        headline += ", " + reason;
    const double milliseconds = static_cast<double>(reply.duration.count()) / 1000.0;
    std::printf("%s (%.1f ms)\n", Ctl_Printable(headline).c_str(), milliseconds);
    if (const std::string* uuid = reply.response.attribute("uuid"))
        std::printf("uuid: %s\n", Ctl_Printable(*uuid).c_str());
    const std::vector<Ctl_Node>& results = reply.response.children;
    printTo(stdout, view && reply.isSuccess() ? view(results) : Ctl_RenderText(results));
}

/// What an "error" of the agent, with its terse reason, means to whoever typed the command. No method stands
/// for any.
constexpr struct {
    std::string_view method;
    std::string_view reason;
    const char* text;
} advice[] = {
    {"", "invalid uuid", "the method needs the agent's identity: \"qdvctl ping\" shows it, --uuid gives it"},
    {"", "invalid encryption protocol", "the method is served over TLS only: --tls"},
    {"GetFSOs", "", "the path is not there, or cannot be looked at"},
    {"SearchFSOs", "", "another search has the token, or the agent does not take a volume or the expression"},
    {"SetVerboseLog", "", "the agent runs with -verbose, or cannot write its log file"},
};

int tellAdvice(const Ctl_Reply& reply) {
    const Ctl_Node& response = reply.response;
    for (const auto& [method, reason, text] : advice)
        if (response.word("response") == "error" && response.word("reason") == reason &&
            (method.empty() || response.word("name") == method))
            Ctl_Say(text);
    return Ctl_Refused;
}

/// Calls a function at the end of a block, however it ends.
class AtEnd {
public:
    explicit AtEnd(const std::function<void()>& step) : step_(step) {}
    AtEnd(const AtEnd&) = delete;
    AtEnd& operator=(const AtEnd&) = delete;
    ~AtEnd() {
        if (step_)
            step_();
    }

private:
    const std::function<void()>& step_;
};

struct Answer {
    std::string method;
    Ctl_Reply reply;
};

/// The reply to one request stays as it is; those to several become one.
Answer callAll(const Ctl_AgentClient& client, std::vector<Ctl_Request> requests, const std::string& command) {
    Answer all;
    all.method = command;
    const bool isOne = requests.size() == 1;
    for (Ctl_Request& request : requests) {
        Answer one{request.method, client.call(std::move(request))};
        if (isOne || !one.reply.isSuccess())
            return one;
        one.reply.duration += all.reply.duration;
        one.reply.body.insert(0, all.reply.body);
        auto& results = one.reply.response.children;
        auto& earlier = all.reply.response.children;
        results.insert(results.begin(), std::make_move_iterator(earlier.begin()),
                       std::make_move_iterator(earlier.end()));
        all.reply = std::move(one.reply);
    }
    std::erase_if(all.reply.response.attributes, [](const auto& each) { return each.first == "name"; });
    return all;
}

using Build = std::function<std::vector<Ctl_Request>()>;

int callAndShow(const std::string& command, const Ctl_AgentOptions& options, const Build& build,
                const Ctl_View& view, const std::function<void()>& finish) {
    const Ctl_Layers layers(options.tls ? Ctl_Layers::NetworkWithTLS : Ctl_Layers::Network);
    const AtEnd finishBeforeTheLayers(finish);
    const Ctl_AgentClient client(options);
    const auto [method, reply] = callAll(client, build(), command);
    if (options.raw)
        showRaw(reply.body);
    else if (options.json)
        showJson(reply.response);
    else if (options.viewAlone && view && reply.isSuccess())
        printTo(stdout, view(reply.response.children));
    else
        showText(client.name(), method, reply, view);
    return reply.isSuccess() ? Ctl_Succeeded : tellAdvice(reply);
}

} // namespace

void Ctl_MakeAgentCommand(CLI::App& command, const std::shared_ptr<Ctl_AgentOptions>& options,
                          std::function<Ctl_Request()> build, Ctl_Action& chosen, Ctl_View view,
                          std::function<void()> finish) {
    const auto buildAll = [build = std::move(build)] {
        std::vector<Ctl_Request> requests;
        requests.push_back(build());
        return requests;
    };
    Ctl_MakeAgentCommand(command, options, Build(buildAll), chosen, std::move(view), std::move(finish));
}

void Ctl_MakeAgentCommand(CLI::App& command, const std::shared_ptr<Ctl_AgentOptions>& options,
                          std::function<std::vector<Ctl_Request>()> build, Ctl_Action& chosen, Ctl_View view,
                          std::function<void()> finish) {
    Ctl_AddAgentOptions(command, *options);
    command.callback([options, build = std::move(build), view = std::move(view), finish = std::move(finish),
                      name = command.get_name(), &chosen] {
        if (!chosen) // a subcommand of this one comes first
            chosen = [name, options, build, view, finish] {
                return callAndShow(name, *options, build, view, finish);
            };
    });
}

int Ctl_TellRefusal(const std::string& method, const Ctl_Reply& reply) {
    const std::string reason = reply.response.word("reason");
    Ctl_Say(method + ": " + reply.response.word("response") + (reason.empty() ? "" : ", " + reason));
    return tellAdvice(reply);
}
