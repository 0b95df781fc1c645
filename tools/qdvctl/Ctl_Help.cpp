#include "qdvctl/Ctl_Help.h"

#include <CLI/CLI.hpp>

#include <sstream>

namespace {

constexpr std::size_t terminalWidth = 80;
constexpr std::size_t leftColumn = 26;

/// Breaks lines at blanks; a word that is wider than a line stays whole.
std::string wrapped(const std::string& text, std::size_t width) {
    std::istringstream words(text);
    std::string lines;
    std::size_t used = 0;
    for (std::string word; words >> word; used += word.size()) {
        if (used != 0 && used + 1 + word.size() > width) {
            lines += '\n';
            used = 0;
        } else if (used != 0) {
            lines += ' ';
            ++used;
        }
        lines += word;
    }
    return lines;
}

class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter() { column_width(leftColumn); }

    std::string make_option_desc(const CLI::Option* option) const override {
        return wrapped(CLI::Formatter::make_option_desc(option), terminalWidth - leftColumn);
    }
    std::string make_subcommand(const CLI::App* command) const override {
        std::ostringstream line;
        CLI::detail::format_help(line, command->get_name(),
                                 wrapped(command->get_description(), terminalWidth - leftColumn), leftColumn);
        return line.str();
    }
    std::string make_description(const CLI::App* command) const override {
        return wrapped(command->get_description(), terminalWidth) + "\n";
    }
};

} // namespace

std::shared_ptr<CLI::FormatterBase> Ctl_HelpFormatter() {
    return std::make_shared<HelpFormatter>();
}

std::string Ctl_NamedCommand(const CLI::App& app) {
    std::string name = app.get_name();
    const CLI::App* command = &app;
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        name += ' ' + command->get_name();
    }
    return name;
}
