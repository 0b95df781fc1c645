#include "config/AgentConfig_Editor.h"

#include "config/AgentConfig_Configuration.h"
#include "net/HTTP_AddressPortPair.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr int answerBufferSize = 1024;

constexpr unsigned usualServerPort = 80;
constexpr unsigned usualServerSSLPort = 443;
constexpr unsigned usualProxyPort = 80;
constexpr unsigned usualReturnPortMin = 18372;
constexpr unsigned usualReturnPortMax = 18382;
constexpr unsigned recommendedReturnPorts = 10;
constexpr unsigned usualListenPort = 8372;

using YesFor = AgentConfig_YesFor;

/// Empty if the system does not tell.
std::string localHostName() {
    std::array<char, HOST_NAME_MAX + 1> name{};
    if (gethostname(name.data(), name.size() - 1) != 0)
        return {};
    return name.data();
}

unsigned portNumber(const HTTP_AddressPortPair& pair) {
    return static_cast<unsigned>(pair.getPort());
}

} // namespace

char* strip_fgets(char* buffer, int size, std::FILE* input) {
    if (std::fgets(buffer, size, input) == nullptr)
        return nullptr;
    const std::size_t length = std::strlen(buffer);
    if (length > 0 && buffer[length - 1] == '\n')
        buffer[length - 1] = '\0';
    return buffer;
}

void AgentConfig_Dialog::print(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::vfprintf(output_, format, arguments);
    va_end(arguments);
}

void AgentConfig_Dialog::block(const char* format, ...) {
    std::fputc('\n', output_);
    std::va_list arguments;
    va_start(arguments, format);
    std::vfprintf(output_, format, arguments);
    va_end(arguments);
}

std::string AgentConfig_Dialog::answer() {
    std::fflush(output_);
    std::array<char, answerBufferSize> buffer{};
    if (strip_fgets(buffer.data(), static_cast<int>(buffer.size()), input_) == nullptr)
        throw EndOfInput{};
    return buffer.data();
}

bool AgentConfig_Dialog::isYes(YesFor rule) {
    const std::string given = answer();
    const bool yes = strcasecmp(given.c_str(), "y") == 0;
    const bool no = strcasecmp(given.c_str(), "n") == 0;
    switch (rule) {
    case YesFor::Y:
        return yes;
    case YesFor::YOrEmpty:
        return yes || given.empty();
    case YesFor::AllButN:
        return !no;
    case YesFor::AllButNOrEmpty:
        return !no && !given.empty();
    }
    return false;
}

std::string AgentConfig_Dialog::text(const std::string& current) {
    const std::string given = answer();
    return given.empty() ? current : given;
}

unsigned AgentConfig_Dialog::number(unsigned current) {
    const std::string given = answer();
    return given.empty() ? current : static_cast<unsigned>(std::strtol(given.c_str(), nullptr, 10));
}

AgentConfig_Editor::AgentConfig_Editor(AgentConfig_Configuration& configuration, std::string hostName,
                                       std::FILE* input, std::FILE* output)
    : configuration_(configuration), hostName_(std::move(hostName)), dialog_(input, output) {}

bool AgentConfig_Configuration::editFromStdin(bool fileExists, bool& changed) {
    return AgentConfig_Editor(*this, localHostName(), stdin, stdout).edit(fileExists, changed);
}

bool AgentConfig_Editor::edit(bool fileExists, bool& changed) {
    changed = false;
    try {
        printContents();
        if (!wantsToStart(fileExists))
            return true;
        do {
            editServer();
            editProxy();
            editReturnAddress();
            editBindPairs();
            printSummary();
            dialog_.block("Do you want to modify your changes? <y|N>: ");
        } while (dialog_.isYes(YesFor::Y));
        dialog_.block("Changes have been made to the configuration.\n"
                      "Do you want to save the changes? <Y|n>: ");
        changed = dialog_.isYes(YesFor::AllButN);
        return true;
    } catch (const AgentConfig_Dialog::EndOfInput&) {
        dialog_.print("\nAn error occurred.  Exiting and not saving changes.\n");
        return false;
    }
}

void AgentConfig_Editor::printContents() {
    dialog_.print("CONTENTS\n");
    dialog_.block("This program will guide you through the steps involved in \n"
                  "editing the configuration file for the Agent.\n");
    dialog_.block("1) Gather QDVServer information\n"
                  "2) Gather QDVAgent information\n"
                  "3) Ask to re-edit information\n"
                  "4) Ask to save configuration file\n");
}

bool AgentConfig_Editor::wantsToStart(bool fileExists) {
    if (fileExists) {
        dialog_.block("The QDVAgent configuration file already exists.\n"
                      "Do you want to edit it? <Y|n>: ");
        return dialog_.isYes(YesFor::AllButN);
    }
    dialog_.block("The QDVAgent configuration file does not exist, it will be created now.\n ");
    return true;
}

void AgentConfig_Editor::editServer() {
    dialog_.block("QDV SERVER INFORMATION\n"
                  "This section of configuration program will gather information\n"
                  "regarding how the QDVAgent will contact the QDVServer.\n");

    const std::string hostname = configuration_.getServerHostname();
    dialog_.block("Enter the QDVServer hostname <ip|hostname>[%s]: ", hostname.c_str());
    configuration_.setServerHostname(dialog_.text(hostname));

    const unsigned port = configuration_.getServerPort();
    dialog_.print("Enter the QDVServer port <port>(%u)[%u]: ", usualServerPort, port);
    configuration_.setServerPort(dialog_.number(port));

    const unsigned sslPort = configuration_.getServerSSLPort();
    dialog_.print("Enter the QDVServer SSL port <port>(%u)[%u]: ", usualServerSSLPort, sslPort);
    configuration_.setServerSSLPort(dialog_.number(sslPort));
}

bool AgentConfig_Editor::hasProxy() const {
    return !configuration_.getProxyHostname().empty() && configuration_.getProxyPort() != 0;
}

void AgentConfig_Editor::editProxy() {
    if (hasProxy())
        dialog_.block("Currently, the QDVAgent is configured to contact an HTTP proxy in\n"
                      "order to communicate with the QDVServer.\n"
                      "Should the QDVAgent continue to use an HTTP proxy to access the\n"
                      "QDVServer? <Y|n>: ");
    else
        dialog_.block("Should the QDVAgent contact an HTTP proxy to access the\n"
                      "QDVServer? <y|N>: ");
    if (!dialog_.isYes(hasProxy() ? YesFor::YOrEmpty : YesFor::Y)) {
        configuration_.setProxyHostname("");
        configuration_.setProxyPort(0);
        configuration_.setUsername("");
        configuration_.setPassword("");
        return;
    }

    const std::string hostname = configuration_.getProxyHostname();
    dialog_.block("Enter the proxy hostname <ip|hostname>[%s]: ", hostname.c_str());
    configuration_.setProxyHostname(dialog_.text(hostname));

    const unsigned port = configuration_.getProxyPort();
    dialog_.print("Enter the proxy port <port>(%u)[%u]: ", usualProxyPort, port);
    configuration_.setProxyPort(dialog_.number(port));

    editProxyAuthentication();
}

void AgentConfig_Editor::editProxyAuthentication() {
    const std::string username = configuration_.getUsername();
    if (username.empty())
        dialog_.block("Does the HTTP proxy require authentication? <y|N>: ");
    else
        dialog_.block("Currently, the QDVAgent is configured to authenticate itself with the HTTP proxy.\n"
                      "Should the QDVAgent continue to authenticate itself with the HTTP proxy? <Y|n>: ");
    if (!dialog_.isYes(username.empty() ? YesFor::Y : YesFor::YOrEmpty)) {
        configuration_.setUsername("");
        configuration_.setPassword("");
        return;
    }

    dialog_.block("Enter the proxy username <username>[%s]: ", username.c_str());
    configuration_.setUsername(dialog_.text(username));

    dialog_.print("Enter the proxy password <password>[%s]: ", configuration_.getPassword().c_str());
    configuration_.setPassword(Secret_Text::take(dialog_.text(configuration_.getPassword())).asString());
}

bool AgentConfig_Editor::hasReturnAddress() const {
    return !configuration_.getReturnAddress().empty() || configuration_.getReturnPortMin() != 0 ||
           configuration_.getReturnPortMax() != 0;
}

void AgentConfig_Editor::editReturnAddress() {
    dialog_.block("QDV AGENT INFORMATION\n"
                  "This section of the configuration program will gather information\n"
                  "regarding how the QDVAgent itself will interact with the network.\n"
                  "*** WARNING ***\n"
                  "Return ports and addresses are used in conjunction with firewalls.\n"
                  "They specify the TCP/IP ports and address from which the QDVAgent\n"
                  "can initiate communication. Unless there is a firewall between the\n"
                  "QDVAgent and the QDVServer which requires an application to\n"
                  "communicate from (not to) a specific port or address, the return\n"
                  "port/address option should not be used.\n");
    if (hasReturnAddress())
        dialog_.block("Currently, the QDVAgent is configured to use return ports and/or addresses.\n"
                      "Should the QDVAgent continue to use return ports and/or addresses? <Y|n>: ");
    else
        dialog_.block("Should the QDVAgent use return ports and/or addresses? <y|N>: ");
    if (!dialog_.isYes(hasReturnAddress() ? YesFor::YOrEmpty : YesFor::Y)) {
        configuration_.setReturnAddress("");
        configuration_.setReturnPortMin(0);
        configuration_.setReturnPortMax(0);
        return;
    }

    dialog_.block("*** WARNING ***\n"
                  "The return ports are configured as a range of ports.\n"
                  "Configuring the QDVAgent to use too few ports will cause\n"
                  "improper operation of the QDVAgent.  The recommended number\n"
                  "of ports is at least %u.\n",
                  recommendedReturnPorts);

    const unsigned lowest = configuration_.getReturnPortMin();
    dialog_.block("Enter the minimum return port <port>(%u)[%u]: ", usualReturnPortMin, lowest);
    configuration_.setReturnPortMin(dialog_.number(lowest));

    const unsigned highest = configuration_.getReturnPortMax();
    dialog_.print("Enter the maximum return port <port>(%u)[%u]: ", usualReturnPortMax, highest);
    configuration_.setReturnPortMax(dialog_.number(highest));

    dialog_.block("The return address is configured as a single IP address\n"
                  "or hostname.\n");
    const std::string current = configuration_.getReturnAddress();
    const std::string& shown = current.empty() ? hostName_ : current;
    dialog_.block("Enter the return address <ip|hostname>[%s]: ", shown.c_str());
    configuration_.setReturnAddress(dialog_.text(shown));
}

void AgentConfig_Editor::editBindPairs() {
    dialog_.block("The QDVAgent binds to specific port/address combinations when\n"
                  "listening for requests from the QDVServer.  It can bind to\n"
                  "multiple port/address pairs.\n");
    pairs_.clear();
    for (const HTTP_AddressPortPair* pair : configuration_.getBindList())
        pairs_.push_back(*pair);

    if (pairs_.empty()) {
        sayThatNoPairIsBound();
        addPairs();
    } else {
        reviewPairs();
        dialog_.block("Do you want to add more port/address pairs? <y|N>: ");
        if (dialog_.isYes(YesFor::Y))
            addPairs();
    }

    configuration_.deallocateBindList();
    for (const HTTP_AddressPortPair& pair : pairs_)
        configuration_.addBindPair(pair.address(), pair.getPort());
}

void AgentConfig_Editor::sayThatNoPairIsBound() {
    dialog_.block("The QDVAgent is not currently configured to bind to any port/address\n"
                  "pairs.  It requires at least one port/address pair for proper operation.\n");
}

void AgentConfig_Editor::reviewPairs() {
    dialog_.block("The QDVAgent is configured to bind to the following\n"
                  "port/address pairs:\n");
    for (const HTTP_AddressPortPair& pair : pairs_)
        dialog_.print("  %s\t%u\n", pair.address().c_str(), portNumber(pair));
    dialog_.block("Do you want to edit the existing port/address pairs? <y|N>: ");
    if (!dialog_.isYes(YesFor::Y))
        return;
    std::vector<HTTP_AddressPortPair> kept;
    for (HTTP_AddressPortPair& pair : pairs_)
        if (reviewPair(pair))
            kept.push_back(pair);
    pairs_ = std::move(kept);
}

/// False if the pair is to go.
bool AgentConfig_Editor::reviewPair(HTTP_AddressPortPair& pair) {
    const std::string& address = pair.address();
    const unsigned port = portNumber(pair);
    dialog_.block("Do you want the QDVAgent to continue to listen on this\n"
                  "port/address pair: %s\t%u <Y|n>: ",
                  address.c_str(), port);
    if (!dialog_.isYes(YesFor::AllButN))
        return false;
    dialog_.block("Do you want to edit the port/address pair? <y|N>: ");
    if (!dialog_.isYes(YesFor::Y))
        return true;
    dialog_.block("Enter the new address to listen on <ip|hostname>(%s)[%s]: ", hostName_.c_str(),
                  address.c_str());
    pair.setAddress(dialog_.text(address));
    dialog_.print("Enter the new port to listen on <port>(%u)[%u]: ", usualListenPort, port);
    pair.setPort(static_cast<int>(dialog_.number(port)));
    return true;
}

void AgentConfig_Editor::addPairs() {
    for (;;) {
        addPair();
        dialog_.block("Do you want to add more port/address pairs? <y|N>: ");
        if (dialog_.isYes(YesFor::AllButNOrEmpty))
            continue;
        if (!pairs_.empty())
            return;
        sayThatNoPairIsBound();
        dialog_.block("Do you want to add more port/address pairs? <Y|n>: ");
        if (!dialog_.isYes(YesFor::AllButN))
            return;
    }
}

void AgentConfig_Editor::addPair() {
    HTTP_AddressPortPair added;
    dialog_.block("Enter the address to listen on <ip|hostname>[%s]: ", hostName_.c_str());
    added.setAddress(dialog_.text(hostName_));
    dialog_.print("Enter the port to listen on <port>(%u)[%u]: ", usualListenPort, usualListenPort);
    added.setPort(static_cast<int>(dialog_.number(usualListenPort)));
    // Nothing can listen on no address: only a system without a host name leads here.
    if (added.address().empty())
        return;
    if (std::find(pairs_.begin(), pairs_.end(), added) != pairs_.end())
        dialog_.block("The port/address pair already exists.\n");
    else
        pairs_.push_back(added);
}

void AgentConfig_Editor::printProxySummary() {
    if (!hasProxy()) {
        dialog_.print("  The QDVAgent is configured to NOT use an HTTP proxy.\n");
        return;
    }
    const std::string hostname = configuration_.getProxyHostname();
    dialog_.print("  HTTP proxy hostname: %s\n"
                  "  TTP proxy port: %u\n",
                  hostname.c_str(), configuration_.getProxyPort());
    const std::string username = configuration_.getUsername();
    if (username.empty())
        dialog_.print("  The QDVAgent is configured to NOT authenticate with\n"
                      "  an HTTP proxy.\n");
    else
        dialog_.print("  HTTP proxy username: %s\n"
                      "  HTTP proxy password: %s\n",
                      username.c_str(), configuration_.getPassword().c_str());
}

void AgentConfig_Editor::printSummary() {
    const std::string hostname = configuration_.getServerHostname();
    dialog_.block("SUMMARY\n"
                  "This section displays the current configuration.\n"
                  "  QDVServer hostname: %s\n"
                  "  QDVServer port: %u\n"
                  "  QDVServer SSL port: %u\n",
                  hostname.c_str(), configuration_.getServerPort(), configuration_.getServerSSLPort());
    printProxySummary();
    const std::string returnAddress = configuration_.getReturnAddress();
    if (hasReturnAddress())
        dialog_.print("  QDVAgent minimum return port: %u\n"
                      "  QDVAgent maximum return port: %u\n"
                      "  QDVAgent return address: %s\n",
                      configuration_.getReturnPortMin(), configuration_.getReturnPortMax(),
                      returnAddress.c_str());
    else
        dialog_.print("  The QDVAgent is configured to NOT use return ports or\n"
                      "  addresses.\n");
    dialog_.print("  The QDVAgent is configured to bind to the following\n"
                  "  port/address pairs:\n");
    for (const HTTP_AddressPortPair* pair : configuration_.getBindList())
        dialog_.print("\t%s\t%u\n", pair->address().c_str(), portNumber(*pair));
}
