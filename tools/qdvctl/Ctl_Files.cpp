#include "qdvctl/Ctl_AgentClient.h"
#include "qdvctl/Ctl_AgentCommand.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_FileTables.h"
#include "qdvctl/Ctl_Layers.h"
#include "qdvctl/Ctl_ProgressLine.h"
#include "qdvctl/Ctl_Render.h"
#include "qdvctl/Ctl_Server.h"
#include "qdvctl/Ctl_Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>

namespace {

constexpr const char* batchMethod = "GetFSOBatchStats";
constexpr const char* statsCall = "FSOStats";
/// How often an agent that is silent is asked whether it is done.
constexpr std::chrono::milliseconds askEach{500};

struct StatsOptions {
    std::vector<std::string> paths;
    Ctl_ServeOptions server;
};

/// What the agent has counted, as its calls bring it.
class Counted {
public:
    void take(const Ctl_Request& call) {
        if (call.method != statsCall)
            return;
        const std::lock_guard lock(mutex_);
        for (const Ctl_Node& node : call.parameters)
            if (node.name == "FSO")
                trees_.push_back(node);
        arrived_.notify_all();
    }
    /// False if something is still missing when the time is over.
    bool waitFor(std::size_t count, std::chrono::milliseconds time) {
        std::unique_lock lock(mutex_);
        return arrived_.wait_for(lock, time, [&] { return trees_.size() >= count; });
    }
    std::vector<Ctl_Node> trees() {
        const std::lock_guard lock(mutex_);
        return trees_;
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<Ctl_Node> trees_;
};

std::string progressText(std::size_t done, std::size_t all, std::chrono::seconds time) {
    return std::to_string(done) + " of " + std::to_string(all) + " counted, " + std::to_string(time.count()) +
           " s";
}

Ctl_Request batchOf(const std::vector<std::string>& paths) {
    std::vector<Ctl_Node> objects;
    for (const std::string& path : paths)
        objects.push_back({"FSO", {}, {{"path", path}}, {}});
    return Ctl_RequestFor(batchMethod, std::move(objects));
}

/// A batch of nothing is taken as soon as no other one runs.
bool isDone(const Ctl_AgentClient& client) {
    return client.call(batchOf({})).isSuccess();
}

void tellMissing(std::size_t missing, std::size_t all, const char* why) {
    if (missing != 0)
        Ctl_Say(std::to_string(missing) + " of " + std::to_string(all) + why);
}

int stats(const Ctl_AgentOptions& agent, const StatsOptions& options) {
    const Ctl_Layers layers(Ctl_Layers::NetworkWithTLS);
    Counted counted;
    const Ctl_Server server(options.server, stdout, [&](const Ctl_Request& call) { counted.take(call); });
    const Ctl_AgentClient client(agent);
    const Ctl_Reply reply = client.call(batchOf(options.paths));
    if (!reply.isSuccess())
        return Ctl_TellRefusal(batchMethod, reply);
    {
        Ctl_ProgressLine progress;
        while (!counted.waitFor(options.paths.size(), askEach) && !isDone(client))
            progress.show(progressText(counted.trees().size(), options.paths.size(), progress.time()));
    }
    const std::vector<Ctl_Node> trees = counted.trees();
    if (agent.json)
        std::printf("%s\n", Ctl_RenderJson({}, trees).c_str());
    else if (!trees.empty())
        std::fputs(Ctl_ListTotals(trees).c_str(), stdout);
    const auto existing = static_cast<std::size_t>(std::count_if(trees.begin(), trees.end(), Ctl_IsThere));
    const std::size_t wanted = options.paths.size();
    tellMissing(trees.size() - existing, wanted, " do not exist");
    tellMissing(wanted - std::min(trees.size(), wanted), wanted,
                " could not be looked at, or the agent calls another server");
    return existing >= wanted ? Ctl_Succeeded : Ctl_Refused;
}

void addLs(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command =
        app.add_subcommand("ls", "List a directory, or one file, as the agent sees it; at most "
                                 "2,500 members. Needs --uuid");
    const auto path = std::make_shared<std::string>();
    command->add_option("path", *path, "An absolute path on the agent's host")->type_name("PATH")->required();
    Ctl_MakeAgentCommand(
        *command, std::make_shared<Ctl_AgentOptions>(),
        [path] { return Ctl_RequestFor("GetFSOs", {Ctl_TextElement("Path", *path)}); }, chosen,
        Ctl_ListFiles);
}

void addStats(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand(
        "stats", "Have the agent count whole trees and show the totals, which it reports to its server: this "
                 "command stands in for that. Needs --uuid");
    const auto agent = std::make_shared<Ctl_AgentOptions>();
    const auto options = std::make_shared<StatsOptions>();
    command->add_option("path", options->paths, "Absolute paths on the agent's host")
        ->type_name("PATH")
        ->required();
    Ctl_AddServerPorts(*command, options->server.port, options->server.tlsPort);
    Ctl_AddAgentOptions(*command, *agent);
    command->callback(
        [agent, options, &chosen] { chosen = [agent, options] { return stats(*agent, *options); }; });
}

} // namespace

void Ctl_AddFiles(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand("files", "Look at files and directories of the agent's host");
    command->require_subcommand(1);
    addLs(*command, chosen);
    addStats(*command, chosen);
}
