#include "qdvctl/Ctl_Command.h"
#include "qdvctl/Ctl_ConfigFiles.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Layers.h"
#include "qdvctl/Ctl_Render.h"
#include "qdvctl/Ctl_Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>

namespace {

struct ConfigOptions {
    std::string where; ///< empty: the tree of this program
    bool json = false;
};

constexpr const char* stateNames[] = {"good", "absent", "faulty"};

/// The directory of the tree that this program belongs to.
std::string usualDirectory() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return (program.parent_path().parent_path() / "conf").string();
}

bool isFile(const std::filesystem::path& named) {
    std::error_code error;
    const bool isFolder = std::filesystem::is_directory(named, error);
    return !isFolder && (std::filesystem::exists(named, error) || named.extension() == ".conf");
}

/// The folder of the files, also if the tree around it was named.
std::string directoryOfFiles(const std::string& named) {
    std::error_code error;
    const std::filesystem::path inTree = std::filesystem::path(named) / "conf";
    const bool isTree = !std::filesystem::exists(std::filesystem::path(named) / "agent.conf", error) &&
                        std::filesystem::is_directory(inTree, error);
    return isTree ? inTree.string() : named;
}

void printLine(const std::string& text) {
    std::printf("%s\n", Ctl_Printable(text).c_str());
}

void showVerdict(const Ctl_ConfigFile& file) {
    if (file.state == Ctl_ConfigFile::Faulty)
        printLine(file.path + ": faulty: " + file.reason);
    else if (file.state == Ctl_ConfigFile::Absent)
        printLine(file.path + (file.required ? ": absent; the agent does not start without it"
                                             : ": absent; the agent makes it when it starts"));
    else
        printLine(file.path + ": good");
    for (const std::string& warning : file.warnings)
        printLine(file.path + ": warning: " + warning);
}

Ctl_Node asNode(const Ctl_ConfigFile& file, bool withContent) {
    Ctl_Node node{"File", {}, {{"path", file.path}, {"state", stateNames[file.state]}}, {}};
    if (file.state == Ctl_ConfigFile::Faulty)
        node.attributes.emplace_back("reason", file.reason);
    for (const std::string& warning : file.warnings)
        node.children.push_back(Ctl_TextElement("Warning", warning));
    if (withContent && file.state == Ctl_ConfigFile::Good)
        node.children.push_back(file.content);
    return node;
}

std::vector<Ctl_ConfigFile> readNamed(const std::string& where) {
    if (where.empty())
        return Ctl_ReadConfigFiles(usualDirectory());
    if (isFile(where)) {
        Ctl_ConfigFile file = Ctl_ReadConfigFile(where);
        if (file.state == Ctl_ConfigFile::Absent)
            throw Ctl_Failure(Ctl_Refused, where + ": there is no such file");
        return {std::move(file)};
    }
    return Ctl_ReadConfigFiles(directoryOfFiles(where));
}

int report(const ConfigOptions& options, bool withContent) {
    const Ctl_Layers layers(Ctl_Layers::XmlOnly);
    const std::vector<Ctl_ConfigFile> files = readNamed(options.where);
    std::vector<Ctl_Node> nodes;
    nodes.reserve(files.size());
    for (const Ctl_ConfigFile& file : files)
        nodes.push_back(asNode(file, withContent));
    if (options.json)
        std::printf("%s\n", Ctl_RenderJson({}, nodes).c_str());
    else
        for (const Ctl_ConfigFile& file : files) {
            showVerdict(file);
            if (withContent && file.state == Ctl_ConfigFile::Good)
                std::printf("%s", Ctl_RenderText({file.content}, 2).c_str());
        }
    const bool usable =
        std::all_of(files.begin(), files.end(), [](const Ctl_ConfigFile& file) { return file.isUsable(); });
    return usable ? Ctl_Succeeded : Ctl_Refused;
}

void addReport(CLI::App& app, const char* name, const char* description, bool withContent,
               Ctl_Action& chosen) {
    CLI::App* command = app.add_subcommand(name, description);
    const auto options = std::make_shared<ConfigOptions>();
    command
        ->add_option("where", options->where,
                     "The agent's tree, its conf or one file in it; the tree of this program if left out")
        ->type_name("PATH");
    command->add_flag("--json", options->json, "Show the result as JSON");
    command->callback([options, withContent, &chosen] {
        chosen = [options, withContent] { return report(*options, withContent); };
    });
}

} // namespace

void Ctl_AddConfig(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command =
        app.add_subcommand("config", "Check or show agent.conf and uuid.conf without an agent");
    command->require_subcommand(1);
    addReport(*command, "check", "Say whether the agent could use the files, and what is wrong where", false,
              chosen);
    addReport(*command, "show", "Show the values that the agent would use; never the password", true, chosen);
}
