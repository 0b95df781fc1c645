#include "qdvctl/Ctl_Host.h"

#include "qdvctl/Ctl_AgentCommand.h"
#include "qdvctl/Ctl_HostCapture.h"
#include "qdvctl/Ctl_Text.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr int labelWidth = 18;
constexpr long minutesPerHour = 60;

/// The element of that name; an empty one if there is none.
const Ctl_Node& elementOrNone(const std::vector<Ctl_Node>& nodes, std::string_view name) {
    static const Ctl_Node none;
    const Ctl_Node* found = Ctl_FindElement(nodes, name);
    return found == nullptr ? none : *found;
}

void addLine(std::string& text, const char* label, const std::string& value) {
    if (value.empty())
        return;
    std::string line = std::string(label) + ":";
    line.resize(labelWidth, ' ');
    text += line + Ctl_Printable(value) + "\n";
}

/// "UTC+05:30"; an offset that is absent is none.
std::string timeZone(const Ctl_Node& machine) {
    const long offset = std::strtol(machine.word("gmtOffset").c_str(), nullptr, 10);
    const long minutes = std::labs(offset);
    char text[32];
    std::snprintf(text, sizeof text, "UTC%c%02ld:%02ld", offset < 0 ? '-' : '+', minutes / minutesPerHour,
                  minutes % minutesPerHour);
    return std::string(text) + (machine.word("daylight") == "true" ? ", daylight saving time" : "");
}

std::string joined(const std::string& first, const std::string& second) {
    return first.empty() || second.empty() ? first + second : first + ", " + second;
}

} // namespace

std::string Ctl_DescribeHost(const std::vector<Ctl_Node>& results) {
    const Ctl_Node* host = Ctl_FindElement(results, "HostSystem");
    if (host == nullptr)
        return "The reply holds no host.\n";
    const Ctl_Node& machine = elementOrNone(host->children, "Machine");
    std::string text;
    addLine(text, "Host", machine.word("name"));
    addLine(text, "Domain", machine.word("domain"));
    addLine(text, "Operating system", elementOrNone(host->children, "OS").word("name"));
    addLine(text, "Machine", joined(machine.word("manufacturer"), machine.word("model")));
    addLine(text, "Serial number", machine.word("serialNumber"));
    if (!machine.name.empty())
        addLine(text, "Time zone", timeZone(machine));
    return text;
}

void Ctl_AddHost(CLI::App& app, Ctl_Action& chosen) {
    CLI::App* command =
        app.add_subcommand("host", "Show the host: name, operating system, machine; needs --uuid");
    Ctl_MakeAgentCommand(
        *command, std::make_shared<Ctl_AgentOptions>(), [] { return Ctl_RequestFor("GetHostSummary"); },
        chosen, Ctl_DescribeHost);
    Ctl_AddHostCapture(*command, chosen);
}
