#include "qdvctl/Ctl_AgentClient.h"
#include "qdvctl/Ctl_AgentCommand.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_FileTables.h"
#include "qdvctl/Ctl_Interrupt.h"
#include "qdvctl/Ctl_Layers.h"
#include "qdvctl/Ctl_ProgressLine.h"
#include "qdvctl/Ctl_Render.h"
#include "qdvctl/Ctl_SearchExpression.h"
#include "qdvctl/Ctl_SearchHits.h"
#include "qdvctl/Ctl_SearchReports.h"
#include "qdvctl/Ctl_Server.h"
#include "qdvctl/Ctl_Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <random>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <utility>

namespace {

using SearchClock = std::chrono::steady_clock;
using SearchSummary = std::optional<std::vector<Ctl_Node>>;

constexpr const char* searchMethod = "SearchFSOs";
constexpr std::uint64_t firstPage = 100;
constexpr std::size_t failuresTold = 10;

constexpr std::chrono::milliseconds redrawEach{500};
/// How long an agent is left alone before it is asked whether it is done: one that reports to somebody else
/// is asked soon, then less and less often; one that reports here, which it does every 25 s, only if it falls
/// silent.
constexpr std::chrono::milliseconds firstPauseAlone{50};
constexpr std::chrono::milliseconds firstPauseListening{1000};
constexpr std::chrono::milliseconds longestPause{10000};
constexpr std::chrono::seconds silence{60};
/// A search is done a moment before its summary comes.
constexpr std::chrono::milliseconds summaryGrace{5000};

/// What is to be shown of the hits.
struct HitOptions {
    std::vector<std::string> volumes;
    std::uint64_t start = 0;
    bool all = false;
    bool null = false;
};

struct SearchOptions {
    HitOptions hits;
    std::vector<std::string> words;
    std::string token;
    Ctl_ServeOptions server;
};

Ctl_HitForm formOf(const Ctl_AgentOptions& agent, const HitOptions& options) {
    return options.null ? Ctl_HitForm::Null : agent.json ? Ctl_HitForm::Json : Ctl_HitForm::Table;
}

std::uint64_t mostHits(Ctl_HitForm form, const HitOptions& options) {
    return options.all || form != Ctl_HitForm::Table ? Ctl_SearchHits::all : firstPage;
}

void checkSearchOptions(const Ctl_AgentOptions& agent, const HitOptions& options) {
    const auto refuse = [](const std::string& message) { throw Ctl_Failure(Ctl_WrongUsage, message); };
    if (options.volumes.empty())
        refuse("--volume is required");
    for (const std::string& volume : options.volumes)
        if (!volume.starts_with('/'))
            refuse("--volume " + volume + ": an absolute path is expected");
    if (options.start != 0 && options.volumes.size() > 1)
        refuse("--start needs a single --volume, whose hits it counts");
    if (!agent.user.empty() || agent.raw)
        refuse("a search has no use for --user, --password-fd and --raw");
}

/// A word for the shell, fit for a terminal.
std::string shellWord(const std::string& text) {
    constexpr std::string_view harmless =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:,+@";
    if (!text.empty() && text.find_first_not_of(harmless) == std::string::npos)
        return text;
    std::string escaped;
    for (const char c : text)
        escaped.append(c == '\\' || c == '\'' ? "\\" : "").append(1, c);
    return "$'" + Ctl_Printable(escaped) + "'";
}

/// The command that shows the hits later.
std::string commandForResults(const Ctl_AgentOptions& agent, const std::string& token,
                              const std::vector<std::string>& volumes) {
    std::string command = "qdvctl search results " + shellWord(token);
    const auto add = [&](const char* option, const std::string& value, const std::string& usual) {
        if (value != usual)
            command.append(" ").append(option).append(" ").append(shellWord(value));
    };
    for (const std::string& volume : volumes)
        add("--volume", volume, {});
    add("--agent", agent.agent, Ctl_AgentOptions().agent);
    add("--uuid", agent.uuid, {});
    add("--host-target", agent.hostTarget, {});
    return command + (agent.tls ? " --tls" : "");
}

/// Neither "_", at which the agent cuts a token, nor a "0" in front, which has a place of its own in the
/// agent.
std::string newToken() {
    std::random_device random;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "qdvctl-%08x%08x", random(), random());
    return text.data();
}

std::vector<std::string> withoutRepeats(const std::vector<std::string>& volumes) {
    std::vector<std::string> once;
    for (const std::string& volume : volumes)
        if (std::find(once.begin(), once.end(), volume) == once.end())
            once.push_back(volume);
    return once;
}

Ctl_Request requestOf(const std::string& token, const std::string& condition,
                      const std::vector<std::string>& volumes) {
    std::vector<Ctl_Node> parameters = Ctl_ParseParameters(condition, "the condition");
    parameters.push_back(Ctl_TextElement("Token", token));
    parameters.push_back(Ctl_TextElement("AccountID", "0"));
    Ctl_Node list{"Volumes", {}, {}, {}};
    for (const std::string& volume : volumes)
        list.add("Volume", {{"nxId", std::to_string(list.children.size() + 1)}, {"name", volume}});
    parameters.push_back(std::move(list));
    return Ctl_RequestFor(searchMethod, std::move(parameters));
}

bool isOnThisHost(const Ctl_AgentOptions& agent) {
    const std::string host = Ctl_ParseAddress(agent.agent).host;
    return host == "localhost" || host.starts_with("127.");
}

bool isMountPoint(const std::string& path) {
    struct stat own {};
    struct stat above {};
    return stat(path.c_str(), &own) == 0 && stat((path + "/..").c_str(), &above) == 0 &&
           (own.st_dev != above.st_dev || own.st_ino == above.st_ino);
}

/// The number of entries to be looked at; 0 if nobody knows, since a volume is on another host, or is but a
/// part of a file system, or this one does not count its entries.
std::uint64_t entriesOf(const std::vector<std::string>& volumes) {
    std::uint64_t entries = 0;
    for (const std::string& volume : volumes) {
        struct statvfs figures {};
        if (!isMountPoint(volume) || statvfs(volume.c_str(), &figures) != 0 ||
            figures.f_files <= figures.f_ffree)
            return 0;
        entries += figures.f_files - figures.f_ffree;
    }
    return entries;
}

std::string searchProgressText(const Ctl_SearchProgress& progress, std::uint64_t entries,
                               std::chrono::seconds time) {
    const std::string elapsed = std::to_string(time.count()) + " s";
    if (!progress.isReported)
        return "searching, " + elapsed;
    std::string text;
    if (entries != 0)
        text = Ctl_ProgressBar(static_cast<double>(progress.files + progress.folders) /
                               static_cast<double>(entries)) +
               "  ";
    return text + std::to_string(progress.files) + " files, " + std::to_string(progress.folders) +
           " folders, " + elapsed;
}

/// One search from its acceptance to the last hit shown.
class RunningSearch {
public:
    RunningSearch(const Ctl_AgentOptions& agent, const HitOptions& options, const Ctl_AgentClient& client,
                  std::string token, Ctl_SearchReports& reports, bool isListening)
        : agent_(agent), volumes_(options.volumes), form_(formOf(agent, options)), client_(client),
          token_(std::move(token)), reports_(reports), isListening_(isListening),
          hits_(client, token_, form_, mostHits(form_, options)) {}

    int finish() {
        showSummary(waitForEnd());
        showHits();
        return isWhole_ ? Ctl_Succeeded : Ctl_Refused;
    }

private:
    SearchSummary waitForEnd();
    bool isDone() const {
        return std::any_of(volumes_.begin(), volumes_.end(),
                           [&](const std::string& volume) { return hits_.isReadable(volume); });
    }
    void showSummary(const SearchSummary& summary);
    void tellFailures(std::vector<std::string> failed);
    bool hasFailed(std::size_t volume) const {
        const std::string status = reports_.status(volume);
        return !status.empty() && status != "OK";
    }
    void showHits();

    const Ctl_AgentOptions& agent_;
    const std::vector<std::string>& volumes_;
    const Ctl_HitForm form_;
    const Ctl_AgentClient& client_;
    const std::string token_;
    Ctl_SearchReports& reports_;
    const bool isListening_;
    Ctl_SearchHits hits_;
    bool isWhole_ = true;
};

/// The summary; none if the agent is done and has sent it to somebody else.
SearchSummary RunningSearch::waitForEnd() {
    const std::uint64_t entries = isOnThisHost(agent_) ? entriesOf(volumes_) : 0;
    const std::chrono::seconds patience = std::max(std::chrono::seconds(agent_.timeout), silence);
    std::chrono::milliseconds pause = isListening_ ? firstPauseListening : firstPauseAlone;
    SearchClock::time_point nextQuestion = SearchClock::now() + pause;
    Ctl_ProgressLine line;
    for (;;) {
        if (SearchSummary summary = reports_.waitForSummary(std::min(pause, redrawEach)))
            return summary;
        const Ctl_SearchProgress progress = reports_.progress();
        const SearchClock::time_point now = SearchClock::now();
        line.show(searchProgressText(progress, entries, line.time()));
        if (now - progress.heard > patience)
            throw Ctl_Failure(Ctl_Unanswered, client_.name() + ": nothing was heard of the search for " +
                                                  std::to_string(patience.count()) + " s");
        if (progress.isReported)
            nextQuestion = std::max(nextQuestion, progress.heard + silence);
        if (now < nextQuestion)
            continue;
        if (isDone())
            return reports_.waitForSummary(reports_.progress().isReported ? summaryGrace
                                                                          : std::chrono::milliseconds(0));
        pause = std::min(pause * 2, longestPause);
        nextQuestion = now + pause;
    }
}

void RunningSearch::showSummary(const SearchSummary& summary) {
    if (!summary && isListening_)
        Ctl_Say(reports_.progress().isReported ? "no summary came"
                                               : "no summary came: the agent reports to another server");
    if (form_ == Ctl_HitForm::Json) {
        std::printf("%s\n",
                    Ctl_RenderJson({{"token", token_}}, summary.value_or(std::vector<Ctl_Node>())).c_str());
    } else {
        std::FILE* stream = form_ == Ctl_HitForm::Null ? stderr : stdout;
        std::fprintf(stream, "Search %s\n", Ctl_Printable(token_).c_str());
        if (summary)
            std::fprintf(stream, "%s\n", Ctl_ListVolumes(*summary).c_str());
    }
    tellFailures(summary ? Ctl_FailedItems(*summary) : std::vector<std::string>());
}

void RunningSearch::tellFailures(std::vector<std::string> failed) {
    isWhole_ = isWhole_ && failed.empty();
    for (std::size_t at = 0; at < volumes_.size(); ++at)
        if (hasFailed(at)) {
            isWhole_ = false;
            Ctl_Say(volumes_[at] + ": its search ended with " + reports_.status(at));
            std::erase(failed, volumes_[at]);
        }
    for (std::size_t at = 0; at < std::min(failed.size(), failuresTold); ++at)
        Ctl_Say(failed[at] + ": could not be looked at");
    if (failed.size() > failuresTold)
        Ctl_Say("and " + std::to_string(failed.size() - failuresTold) + " more could not be looked at");
}

/// What a page that the agent refuses can mean, which it does not tell.
void tellNoHits(const std::string& volume, const Ctl_Reply& reply) {
    Ctl_TellRefusal("GetFSOSearchResults", reply);
    Ctl_Say(volume + ": the search has no results there, or is still at work");
}

/// Ends a table. Of what the agent has refused nobody knows whether there are hits.
void closeTable(const Ctl_SearchHits& hits, bool hasRefused, const std::string& commandForAll) {
    if (hits.count() == 0 && !hasRefused)
        std::puts("No hits.");
    if (hits.hasMore())
        std::printf("There are more; all of them: %s --all\n", commandForAll.c_str());
}

void RunningSearch::showHits() {
    std::vector<std::string> readable = volumes_;
    for (std::size_t at = 0; at < volumes_.size() && !hits_.hasMore(); ++at) {
        const std::optional<Ctl_Reply> refusal = hits_.show(volumes_[at], 0);
        if (!refusal)
            continue;
        std::erase(readable, volumes_[at]);
        // Why has been told.
        if (!hasFailed(at))
            tellNoHits(volumes_[at], *refusal);
    }
    const bool hasRefused = readable.size() < volumes_.size();
    isWhole_ = isWhole_ && !hasRefused;
    if (form_ == Ctl_HitForm::Table)
        closeTable(hits_, hasRefused, commandForResults(agent_, token_, readable));
}

/// None if its ports cannot be had: then the search goes without reports.
std::unique_ptr<Ctl_Server> listenFor(Ctl_SearchReports& reports, const Ctl_ServeOptions& options) {
    try {
        return std::make_unique<Ctl_Server>(options, stdout,
                                            [&](const Ctl_Request& call) { reports.take(call); });
    } catch (const Ctl_Failure& failure) {
        Ctl_Say(std::string(failure.what()) + "; there will be no progress and no summary");
        return nullptr;
    }
}

int search(const Ctl_AgentOptions& agent, SearchOptions options) {
    checkSearchOptions(agent, options.hits);
    const std::string condition = Ctl_SearchCondition(CLI::detail::join(options.words, " "));
    options.hits.volumes = withoutRepeats(options.hits.volumes);
    const std::string token = options.token.empty() ? newToken() : options.token;
    const std::string command = commandForResults(agent, token, options.hits.volumes);

    const Ctl_Layers layers(Ctl_Layers::NetworkWithTLS);
    Ctl_Interrupt interrupt("qdvctl: interrupted; the agent goes on. What it finds: " + command + "\n");
    Ctl_SearchReports reports(token, options.hits.volumes.size());
    const std::unique_ptr<Ctl_Server> server = listenFor(reports, options.server);
    const Ctl_AgentClient client(agent);
    Ctl_Request request = requestOf(token, condition, options.hits.volumes);
    interrupt.arm();
    const Ctl_Reply reply = client.call(std::move(request));
    if (!reply.isSuccess())
        return Ctl_TellRefusal(searchMethod, reply);
    try {
        return RunningSearch(agent, options.hits, client, token, reports, server != nullptr).finish();
    } catch (const Ctl_Failure&) {
        Ctl_Say("the agent may have gone on; what it finds: " + command);
        throw;
    }
}

int results(const Ctl_AgentOptions& agent, const HitOptions& options, const std::string& token) {
    checkSearchOptions(agent, options);
    const Ctl_Layers layers(agent.tls ? Ctl_Layers::NetworkWithTLS : Ctl_Layers::Network);
    const Ctl_AgentClient client(agent);
    const Ctl_HitForm form = formOf(agent, options);
    Ctl_SearchHits hits(client, token, form, mostHits(form, options));
    int status = Ctl_Succeeded;
    for (const std::string& volume : options.volumes) {
        if (const std::optional<Ctl_Reply> refusal = hits.show(volume, options.start)) {
            tellNoHits(volume, *refusal);
            status = Ctl_Refused;
        }
        if (hits.hasMore())
            break;
    }
    if (form == Ctl_HitForm::Table)
        closeTable(hits, status == Ctl_Refused, commandForResults(agent, token, options.volumes));
    return status;
}

void addHitOptions(CLI::App& command, Ctl_AgentOptions& agent, HitOptions& options) {
    command.add_option("--volume", options.volumes, "Directory whose tree is searched; repeatable")
        ->type_name("PATH")
        ->expected(1)
        ->take_all()
        ->allow_extra_args(false);
    command.add_flag("--all", options.all, "Show every hit, not only the first 100");
    Ctl_AddAgentOptions(command, agent);
    command
        .add_flag("--null", options.null,
                  "Write nothing but the paths of all hits, as they are, each with a zero behind")
        ->excludes(command.get_option("--json"));
}

void addResults(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand("results", "Show the hits of an earlier search. Needs --uuid");
    const auto agent = std::make_shared<Ctl_AgentOptions>();
    const auto options = std::make_shared<HitOptions>();
    const auto token = std::make_shared<std::string>();
    command->add_option("token", *token, "What the search is known by")->type_name("TOKEN")->required();
    command->add_option("--start", options->start, "Leave out so many hits")->type_name("N");
    addHitOptions(*command, *agent, *options);
    command->callback([=, &chosen] { chosen = [=] { return results(*agent, *options, *token); }; });
}

void addDelete(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand(
        "delete", "Have the agent drop searches, and what they have found, all or none. Needs --uuid");
    const auto tokens = std::make_shared<std::vector<std::string>>();
    command->add_option("token", *tokens, "What the searches are known by")->type_name("TOKEN")->required();
    Ctl_MakeAgentCommand(
        *command, std::make_shared<Ctl_AgentOptions>(),
        [tokens] {
            Ctl_Request request = Ctl_RequestFor("DeleteSearches");
            for (const std::string& token : *tokens)
                request.parameters.push_back(Ctl_TextElement("Token", token));
            return request;
        },
        chosen);
}

} // namespace

void Ctl_AddSearch(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand(
        "search", "Have the agent search directory trees for what an expression describes. It reports to its "
                  "server: this command stands in for that. Needs --uuid and --volume");
    const auto agent = std::make_shared<Ctl_AgentOptions>();
    const auto options = std::make_shared<SearchOptions>();
    addResults(*command, chosen);
    addDelete(*command, chosen);
    // From its first word on an expression may have words that are commands elsewhere.
    const auto endCommands = [command](const std::string&) {
        for (CLI::App* each : command->get_subcommands({}))
            each->disabled();
        return std::string();
    };
    command->validate_positionals();
    command
        ->add_option("expression", options->words,
                     "Such as 'size > 1M and name endsWith .log'; see qdvctl(1)")
        ->type_name("EXPRESSION")
        ->check(endCommands, "");
    command->add_option("--token", options->token, "What the search is to be known by; made up if left out")
        ->type_name("TOKEN");
    Ctl_AddServerPorts(*command, options->server.port, options->server.tlsPort);
    addHitOptions(*command, *agent, options->hits);
    command->callback([=, &chosen] {
        if (!chosen) // a subcommand comes first
            chosen = [=] { return search(*agent, *options); };
    });
}
