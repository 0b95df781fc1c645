#include "base/File_Contents.h"
#include "qdvctl/Ctl_AgentCommand.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Render.h"
#include "qdvctl/Ctl_StoragePicture.h"
#include "qdvctl/Ctl_StorageTree.h"
#include "storage/Storage_Levels.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr const char* everything = "all";
constexpr std::string_view standardOutput = "-";

/// What the command line asks for.
struct Wish {
    std::string word = everything;
    bool asTree = false;
    std::string htmlFile; ///< empty: no page
    std::string svgFile;

    bool needsAllLevels() const { return asTree || !htmlFile.empty() || !svgFile.empty(); }
};

const Storage_Level* levelOf(const std::string& word) {
    const auto* const level = std::find_if(Storage_Levels.begin(), Storage_Levels.end(),
                                           [&](const Storage_Level& each) { return each.word == word; });
    return level == Storage_Levels.end() ? nullptr : level;
}

std::vector<std::string> words() {
    std::vector<std::string> all;
    for (const Storage_Level& level : Storage_Levels)
        all.emplace_back(level.word);
    all.emplace_back(everything);
    return all;
}

/// A tree or a picture needs all levels, whichever it begins with.
std::vector<Ctl_Request> requestsFor(const Wish& wish) {
    const Storage_Level* const one = wish.needsAllLevels() ? nullptr : levelOf(wish.word);
    std::vector<Ctl_Request> requests;
    for (const Storage_Level& level : Storage_Levels)
        if (one == nullptr || one == &level)
            requests.push_back(Ctl_RequestFor(level.method));
    return requests;
}

std::string showTree(const Wish& wish, const std::vector<Ctl_Node>& results) {
    const Storage_Level* const level = levelOf(wish.word);
    if (level == nullptr || level->allocateMember == nullptr)
        return Ctl_StorageTree(results);
    // A collection's type follows its members'.
    return Ctl_StorageTree(results, static_cast<System_Object::StorageType>(level->type - 1));
}

/// The text itself if it is for standard output, else nothing, and the file is written. What is there and is
/// no plain file, such as a device or a link to one, would be replaced by one.
std::string deliver(const std::string& file, std::string text) {
    constexpr mode_t mode = 0644;
    if (file == standardOutput)
        return text;
    std::error_code error;
    const auto there = std::filesystem::symlink_status(file, error);
    if (std::filesystem::exists(there) && !std::filesystem::is_regular_file(there))
        throw Ctl_Failure(Ctl_WrongUsage, file + ": is no plain file; - is standard output");
    if (!File_WriteAtomically(file.c_str(), ".tmp", text, mode))
        throw Ctl_Failure(Ctl_WrongUsage, file + ": " + std::strerror(errno));
    return {};
}

std::string show(const Wish& wish, const std::vector<Ctl_Node>& results) {
    if (!wish.htmlFile.empty())
        return deliver(wish.htmlFile, Ctl_StorageHtml(results));
    if (!wish.svgFile.empty())
        return deliver(wish.svgFile, Ctl_StorageSvg(results));
    return wish.asTree ? showTree(wish, results) : Ctl_RenderText(results);
}

} // namespace

void Ctl_AddAudit(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand(
        "audit", "Have the agent audit a level of its storage, or all of them, and show it; needs --uuid");
    const auto wish = std::make_shared<Wish>();
    const auto options = std::make_shared<Ctl_AgentOptions>();
    command->add_option("level", wish->word, CLI::detail::join(words(), ", ") + "; all if it is left out")
        ->type_name("")
        ->check(CLI::IsMember(words()));
    Ctl_MakeAgentCommand(
        *command, options, [wish] { return requestsFor(*wish); }, chosen,
        [wish](const std::vector<Ctl_Node>& results) { return show(*wish, results); });
    std::vector<CLI::Option*> forms = {
        command->add_flag("--tree", wish->asTree, "Show the stack, from volumes down to drives")};
    const auto addFile = [&](const char* name, std::string& file, const char* help) {
        forms.push_back(
            command->add_option(name, file, help)->type_name("FILE")->check([](const std::string& text) {
                return text.empty() ? "a file's name, or -" : "";
            }));
        forms.back()->each(
            [options](const std::string& text) { options->viewAlone = text == standardOutput; });
    };
    addFile("--html", wish->htmlFile,
            "Write the stack as a page with a picture and tables; - is standard output");
    addFile("--svg", wish->svgFile, "Write the picture alone; - is standard output");
    for (CLI::Option* form : forms) {
        for (const char* other : {"--json", "--raw"})
            form->excludes(command->get_option(other));
        for (CLI::Option* other : forms)
            if (other != form)
                form->excludes(other);
    }
}
