// The dialog that makes agent.conf, held with answers from a string.

#include "config/AgentConfig_Configuration.h"
#include "config/AgentConfig_Editor.h"
#include "net/HTTP_AddressPortPair.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using Answers = std::vector<std::string>;

constexpr const char* thisHost = "storage7";
constexpr const char* endMessage = ": \nAn error occurred.  Exiting and not saving changes.\n";

using Stream = std::unique_ptr<std::FILE, decltype(&std::fclose)>;

/// A stream over the text; an empty text is a stream that ends at once.
Stream inputOf(std::string& text) {
    return {text.empty() ? std::fopen("/dev/null", "r") : fmemopen(text.data(), text.size(), "r"),
            &std::fclose};
}

std::string lines(const Answers& answers) {
    std::string text;
    for (const std::string& answer : answers)
        text += answer + "\n";
    return text;
}

class Editor : public testing::Test {
protected:
    /// Holds the dialog; the result is what `edit` returned.
    bool editText(std::string answers, bool fileExists = true, const char* hostName = thisHost) {
        char* buffer = nullptr;
        std::size_t size = 0;
        const Stream input = inputOf(answers);
        Stream output(open_memstream(&buffer, &size), &std::fclose);
        changed = true;
        const bool finished =
            AgentConfig_Editor(*configuration, hostName, input.get(), output.get()).edit(fileExists, changed);
        output.reset();
        shown.assign(buffer, size);
        std::free(buffer);
        return finished;
    }
    bool edit(const Answers& answers) { return editText(lines(answers)); }

    void listenOn(const std::vector<std::string>& addresses) {
        configuration->deallocateBindList();
        for (std::size_t index = 0; index < addresses.size(); ++index)
            configuration->addBindPair(addresses[index], static_cast<int>(index) + 1);
    }

    void useEverything() {
        configuration->setServerHostname("server");
        configuration->setServerPort(8080);
        configuration->setServerSSLPort(8443);
        configuration->setProxyHostname("proxy");
        configuration->setProxyPort(3128);
        configuration->setUsername("joe");
        configuration->setPassword("secret");
        configuration->setReturnPortMin(5000);
        configuration->setReturnPortMax(5020);
        configuration->setReturnAddress("10.0.0.1");
        listenOn({"10.0.0.1", "10.0.0.2"});
    }

    /// All that the dialog asks for, on one line.
    std::string answered() const {
        const AgentConfig_Configuration& given = *configuration;
        std::ostringstream text;
        text << given.getServerHostname() << ' ' << given.getServerPort() << ' ' << given.getServerSSLPort()
             << ", " << given.getProxyHostname() << ' ' << given.getProxyPort() << ' ' << given.getUsername()
             << ' ' << given.getPassword() << ", " << given.getReturnAddress() << ' '
             << given.getReturnPortMin() << ' ' << given.getReturnPortMax() << ',';
        for (const HTTP_AddressPortPair* pair : given.getBindList())
            text << ' ' << pair->getAddress() << ':' << pair->getPort();
        return text.str();
    }

    std::optional<AgentConfig_Configuration> configuration{std::in_place};
    bool changed = false;
    std::string shown;
};

constexpr const char* freshDialog =
    R"(CONTENTS

This program will guide you through the steps involved in 
editing the configuration file for the Agent.

1) Gather QDVServer information
2) Gather QDVAgent information
3) Ask to re-edit information
4) Ask to save configuration file

The QDVAgent configuration file does not exist, it will be created now.
 
QDV SERVER INFORMATION
This section of configuration program will gather information
regarding how the QDVAgent will contact the QDVServer.

Enter the QDVServer hostname <ip|hostname>[]: Enter the QDVServer port <port>(80)[80]: )"
    R"(Enter the QDVServer SSL port <port>(443)[443]: 
Should the QDVAgent contact an HTTP proxy to access the
QDVServer? <y|N>: 
QDV AGENT INFORMATION
This section of the configuration program will gather information
regarding how the QDVAgent itself will interact with the network.
*** WARNING ***
Return ports and addresses are used in conjunction with firewalls.
They specify the TCP/IP ports and address from which the QDVAgent
can initiate communication. Unless there is a firewall between the
QDVAgent and the QDVServer which requires an application to
communicate from (not to) a specific port or address, the return
port/address option should not be used.

Should the QDVAgent use return ports and/or addresses? <y|N>: 
The QDVAgent binds to specific port/address combinations when
listening for requests from the QDVServer.  It can bind to
multiple port/address pairs.

The QDVAgent is not currently configured to bind to any port/address
pairs.  It requires at least one port/address pair for proper operation.

Enter the address to listen on <ip|hostname>[storage7]: Enter the port to listen on <port>(8372)[8372]: 
Do you want to add more port/address pairs? <y|N>: 
SUMMARY
This section displays the current configuration.
  QDVServer hostname: server
  QDVServer port: 80
  QDVServer SSL port: 443
  The QDVAgent is configured to NOT use an HTTP proxy.
  The QDVAgent is configured to NOT use return ports or
  addresses.
  The QDVAgent is configured to bind to the following
  port/address pairs:
)"
    "\tstorage7\t8372\n"
    R"(
Do you want to modify your changes? <y|N>: 
Changes have been made to the configuration.
Do you want to save the changes? <Y|n>: )";

TEST_F(Editor, MakesANewFileFromAHostNameAndEmptyLines) {
    EXPECT_TRUE(editText("server\n\n\n\n\n\n\n\n\n\n", false));
    EXPECT_EQ(shown, freshDialog);
    EXPECT_TRUE(changed);
    EXPECT_EQ(answered(), "server 80 443,  0  ,  0 0, storage7:8372");
}

TEST_F(Editor, KeepsEverythingOnEmptyLines) {
    useEverything();
    EXPECT_TRUE(editText(std::string(19, '\n')));
    EXPECT_TRUE(changed);
    EXPECT_EQ(answered(),
              "server 8080 8443, proxy 3128 joe secret, 10.0.0.1 5000 5020, 10.0.0.1:1 10.0.0.2:2");
    for (const char* text : {
             "Enter the QDVServer port <port>(80)[8080]: Enter the QDVServer SSL port <port>(443)[8443]: ",
             "Currently, the QDVAgent is configured to contact an HTTP proxy in\n"
             "order to communicate with the QDVServer.\n"
             "Should the QDVAgent continue to use an HTTP proxy to access the\n"
             "QDVServer? <Y|n>: ",
             "Enter the proxy hostname <ip|hostname>[proxy]: Enter the proxy port <port>(80)[3128]: ",
             "Currently, the QDVAgent is configured to authenticate itself with the HTTP proxy.\n"
             "Should the QDVAgent continue to authenticate itself with the HTTP proxy? <Y|n>: ",
             "Enter the proxy username <username>[joe]: Enter the proxy password <password>[secret]: ",
             "Currently, the QDVAgent is configured to use return ports and/or addresses.\n"
             "Should the QDVAgent continue to use return ports and/or addresses? <Y|n>: ",
             "*** WARNING ***\nThe return ports are configured as a range of ports.\n"
             "Configuring the QDVAgent to use too few ports will cause\n"
             "improper operation of the QDVAgent.  The recommended number\nof ports is at least 10.\n",
             "Enter the minimum return port <port>(18372)[5000]: Enter the maximum return port "
             "<port>(18382)[5020]: ",
             "The return address is configured as a single IP address\nor hostname.\n",
             "Enter the return address <ip|hostname>[10.0.0.1]: ",
             "The QDVAgent is configured to bind to the following\nport/address pairs:\n"
             "  10.0.0.1\t1\n  10.0.0.2\t2\n",
             "  HTTP proxy hostname: proxy\n  TTP proxy port: 3128\n"
             "  HTTP proxy username: joe\n  HTTP proxy password: secret\n"
             "  QDVAgent minimum return port: 5000\n  QDVAgent maximum return port: 5020\n"
             "  QDVAgent return address: 10.0.0.1\n",
         })
        EXPECT_THAT(shown, HasSubstr(text));
}

TEST_F(Editor, EndsWithoutSavingWhereverTheInputEnds) {
    const Answers answers{"y", "",  "",  "",  "y", "p", "1", "y", "u", "w", "y", "1", "2",
                          "a", "y", "n", "y", "y", "b", "7", "y", "c", "8", "",  "n", "y"};
    for (std::size_t given = 0; given < answers.size(); ++given) {
        SCOPED_TRACE(given);
        configuration.emplace();
        listenOn({"x", "y"});
        EXPECT_FALSE(edit({answers.begin(), answers.begin() + static_cast<std::ptrdiff_t>(given)}));
        EXPECT_FALSE(changed);
        EXPECT_THAT(shown, EndsWith(endMessage));
    }
    configuration.emplace();
    listenOn({"x", "y"});
    EXPECT_TRUE(edit(answers)) << "the answers above must reach the end, or not every prompt was tried";
    EXPECT_TRUE(changed);
    EXPECT_THAT(answered(), EndsWith(", b:7 c:8"));
}

TEST_F(Editor, ClearsProxyAuthenticationAndReturnPortsOnAnythingButYes) {
    for (const char* answer : {"n", "no", "yes", "x"}) {
        useEverything();
        edit({"", "", "", "", answer, answer});
        EXPECT_THAT(answered(), HasSubstr(",  0  ,  0 0,")) << answer;
    }
    useEverything();
    edit({"", "", "", "", "Y", "", "", "n"});
    EXPECT_THAT(answered(), HasSubstr(", proxy 3128  ,"));
}

TEST_F(Editor, ValidatesNothingButTakesAProxyWithoutAPortForNone) {
    configuration->setProxyHostname("proxy");
    edit({"", "s", "port", "-1", "n", "y", "9", "5", ""});
    for (const char* text : {"\nShould the QDVAgent contact an HTTP proxy to access the\nQDVServer? <y|N>: ",
                             "Enter the return address <ip|hostname>[storage7]: "})
        EXPECT_THAT(shown, HasSubstr(text));
    EXPECT_THAT(answered(), testing::StartsWith("s 0 4294967295,  0  , storage7 9 5,"));
}

TEST_F(Editor, AsksAgainForAPairWhereTheHostHasNoName) {
    EXPECT_TRUE(editText("\n\n\n\n\n"    // server, proxy, return ports
                         "\n\n\n"        // no address, and no more
                         "\n"            // the question again: yes
                         "a\n1\n\n\n\n", // a pair
                         false, ""));
    EXPECT_THAT(answered(), EndsWith(", a:1"));
    EXPECT_THAT(shown, HasSubstr("Do you want to add more port/address pairs? <Y|n>: "));
}

TEST_F(Editor, GoesRoundAgainWithTheValuesAsTheyStand) {
    EXPECT_TRUE(edit({"", "first", "", "", "", "", "", "", "", //
                      "y", "", "81", "", "", "", "", "", "", "n"}));
    EXPECT_FALSE(changed);
    EXPECT_THAT(shown, HasSubstr("Enter the QDVServer hostname <ip|hostname>[first]: "));
    EXPECT_EQ(answered(), "first 81 443,  0  ,  0 0, storage7:8372");
}

TEST_F(Editor, SplitsALongAnswerOverTwoPrompts) {
    const std::string head(1023, 'h');
    editText("\n" + head + "81\n");
    EXPECT_THAT(answered(), testing::StartsWith(head + " 81 443,"));
}

TEST(StripFgets, RemovesOneLineFeedAndKnowsTheEnd) {
    std::string text("ab\n\ncd\r\n\0x\nlast", 15);
    const Stream input = inputOf(text);
    char buffer[16];
    Answers read;
    while (strip_fgets(buffer, sizeof buffer, input.get()) != nullptr)
        read.emplace_back(buffer);
    EXPECT_THAT(read, ElementsAre("ab", "", "cd\r", "", "last"));
}

} // namespace
