#include "qdvctl/Ctl_AgentOptions.h"

#include "net/HTTP_AddressPortPair.h"
#include "qdvctl/Ctl_Failure.h"

#include <CLI/CLI.hpp>

#include <charconv>

namespace {

constexpr unsigned short usualPort = 8372;
constexpr unsigned longestTimeout = 86400;

bool parsePort(std::string_view text, unsigned short& port) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    return error == std::errc() && end == text.data() + text.size() && port != 0;
}

} // namespace

void Ctl_AddAgentOptions(CLI::App& command, Ctl_AgentOptions& options) {
    const auto target = "The agent";
    command.add_option("--agent", options.agent, "Address of the agent")
        ->type_name("HOST:PORT")
        ->capture_default_str()
        ->group(target);
    command.add_flag("--tls", options.tls, "Speak TLS; a few methods are served in no other way")
        ->group(target);
    command.add_option("--uuid", options.uuid, "Identity of the agent; one that has none yet takes this one")
        ->type_name("ID")
        ->group(target);
    command.add_option("--host-target", options.hostTarget, "Host that the call is meant for")
        ->type_name("NAME")
        ->group(target);
    command
        .add_option("--timeout", options.timeout,
                    "How long to wait for the answer; making the connection gets 10 s of its own at most")
        ->type_name("SECONDS")
        ->check(CLI::Range(1U, longestTimeout))
        ->capture_default_str()
        ->group(target);

    const auto identity = "On whose behalf";
    auto* user =
        command.add_option("--user", options.user, "System user; needs --tls. The password is asked for")
            ->type_name("NAME")
            ->group(identity);
    command
        .add_option("--password-fd", options.passwordDescriptor,
                    "Read the password from this descriptor instead")
        ->type_name("N")
        ->check(CLI::NonNegativeNumber)
        ->needs(user)
        ->group(identity);

    const auto output = "Output";
    auto* json = command.add_flag("--json", options.json, "Show the reply as JSON")->group(output);
    command.add_flag("--raw", options.raw, "Show the reply as it came, in XML")
        ->excludes(json)
        ->group(output);
}

void Ctl_AddServerPorts(CLI::App& command, unsigned short& plain, unsigned short& tls) {
    const auto add = [&](const char* name, unsigned short& port, const char* help) {
        command.add_option(name, port, help)
            ->type_name("PORT")
            ->check(CLI::Range(1, HTTP_HighestPort))
            ->capture_default_str();
    };
    add("--port", plain, "Port for the agent's plain calls, as its agent.conf names it");
    add("--tls-port", tls, "The same for calls over TLS");
}

Ctl_Address Ctl_ParseAddress(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    Ctl_Address address{text.substr(0, colon), usualPort};
    const bool good =
        colon == std::string::npos || parsePort(std::string_view(text).substr(colon + 1), address.port);
    if (!good || address.host.empty() || address.host.find(':') != std::string::npos)
        throw Ctl_Failure(Ctl_WrongUsage,
                          "--agent " + text +
                              ": HOST:PORT is expected, a host name or IPv4 address and a port");
    return address;
}
