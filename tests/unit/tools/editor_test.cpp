// The dialog that makes agent.conf, held with answers from a string.

#include "config/AgentConfig_Configuration.h"
#include "config/AgentConfig_Editor.h"
#include "net/HTTP_AddressPortPair.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Pairs = std::vector<std::pair<std::string, int>>;

constexpr const char* thisHost = "storage7";
constexpr const char* endMessage = "\nAn error occurred.  Exiting and not saving changes.\n";

/// A stream over the text; an empty text is a stream that ends at once.
class Input {
public:
    explicit Input(std::string text) : text_(std::move(text)) {
        stream_ = text_.empty() ? std::fopen("/dev/null", "r") : fmemopen(text_.data(), text_.size(), "r");
    }
    ~Input() { std::fclose(stream_); }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;
    std::FILE* stream() { return stream_; }

private:
    std::string text_;
    std::FILE* stream_;
};

class Output {
public:
    Output() : stream_(open_memstream(&buffer_, &size_)) {}
    ~Output() {
        std::fclose(stream_);
        std::free(buffer_);
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    std::FILE* stream() { return stream_; }
    std::string text() {
        std::fflush(stream_);
        return {buffer_, size_};
    }

private:
    char* buffer_ = nullptr;
    std::size_t size_ = 0;
    std::FILE* stream_;
};

std::string lines(const std::vector<std::string>& answers) {
    std::string text;
    for (const std::string& answer : answers)
        text += answer + "\n";
    return text;
}

Pairs bindPairs(const AgentConfig_Configuration& configuration) {
    Pairs pairs;
    for (const HTTP_AddressPortPair* pair : configuration.getBindList())
        pairs.emplace_back(pair->getAddress(), pair->getPort());
    return pairs;
}

class Editor : public testing::Test {
protected:
    /// Holds the dialog; the result is what `edit` returned.
    bool editText(const std::string& input, bool fileExists = true, const char* hostName = thisHost) {
        Input answers(input);
        Output output;
        changed = true;
        const bool finished = AgentConfig_Editor(configuration, hostName, answers.stream(), output.stream())
                                  .edit(fileExists, changed);
        shown = output.text();
        return finished;
    }

    bool edit(const std::vector<std::string>& answers) { return editText(lines(answers)); }

    void useEverything() {
        configuration.setServerHostname("server");
        configuration.setServerPort(8080);
        configuration.setServerSSLPort(8443);
        configuration.setProxyHostname("proxy");
        configuration.setProxyPort(3128);
        configuration.setUsername("joe");
        configuration.setPassword("secret");
        configuration.setReturnPortMin(5000);
        configuration.setReturnPortMax(5020);
        configuration.setReturnAddress("10.0.0.1");
        configuration.addBindPair("10.0.0.1", 8372);
        configuration.addBindPair("10.0.0.2", 9000);
    }

    AgentConfig_Configuration configuration;
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
    EXPECT_EQ(configuration.getServerHostname(), "server");
    EXPECT_EQ(bindPairs(configuration), (Pairs{{thisHost, 8372}}));
}

TEST_F(Editor, LeavesAnExistingFileAloneOnN) {
    for (const char* answer : {"n", "N"}) {
        EXPECT_TRUE(edit({answer}));
        EXPECT_FALSE(changed);
        EXPECT_THAT(shown, testing::EndsWith("The QDVAgent configuration file already exists.\n"
                                             "Do you want to edit it? <Y|n>: "));
    }
}

TEST_F(Editor, KeepsEverythingOnEmptyLines) {
    useEverything();
    EXPECT_TRUE(editText(std::string(19, '\n')));
    EXPECT_TRUE(changed);
    EXPECT_EQ(configuration.getServerPort(), 8080U);
    EXPECT_EQ(configuration.getServerSSLPort(), 8443U);
    EXPECT_EQ(configuration.getProxyPort(), 3128U);
    EXPECT_EQ(configuration.getPassword(), "secret");
    EXPECT_EQ(configuration.getReturnPortMin(), 5000U);
    EXPECT_EQ(configuration.getReturnPortMax(), 5020U);
    EXPECT_EQ(configuration.getReturnAddress(), "10.0.0.1");
    EXPECT_EQ(bindPairs(configuration), (Pairs{{"10.0.0.1", 8372}, {"10.0.0.2", 9000}}));
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
             "  10.0.0.1\t8372\n  10.0.0.2\t9000\n",
             "  HTTP proxy hostname: proxy\n  TTP proxy port: 3128\n"
             "  HTTP proxy username: joe\n  HTTP proxy password: secret\n"
             "  QDVAgent minimum return port: 5000\n  QDVAgent maximum return port: 5020\n"
             "  QDVAgent return address: 10.0.0.1\n",
         })
        EXPECT_THAT(shown, HasSubstr(text));
}

TEST_F(Editor, EndsWithoutSavingWhereverTheInputEnds) {
    const std::vector<std::string> answers{"y", "",  "",  "",  "y", "p", "1", "y", "u", "w", "y", "1",
                                           "2", "a", "y", "n", "y", "y", "b", "7", "y", "c", "8", ""};
    const std::vector<std::string> tail{"n", "y"};
    for (std::size_t given = 0; given <= answers.size() + 1; ++given) {
        SCOPED_TRACE(given);
        AgentConfig_Configuration fresh;
        fresh.addBindPair("x", 1);
        fresh.addBindPair("y", 2);
        std::vector<std::string> all = answers;
        all.insert(all.end(), tail.begin(), tail.end());
        all.resize(given);
        Input input(lines(all));
        Output output;
        bool save = true;
        EXPECT_FALSE(AgentConfig_Editor(fresh, thisHost, input.stream(), output.stream()).edit(true, save));
        EXPECT_FALSE(save);
        EXPECT_THAT(output.text(), testing::EndsWith(std::string(": ") + endMessage));
    }
    std::vector<std::string> all = answers;
    all.insert(all.end(), tail.begin(), tail.end());
    configuration.addBindPair("x", 1);
    configuration.addBindPair("y", 2);
    EXPECT_TRUE(edit(all)) << "the answers above must reach the end, or not every prompt was tried";
    EXPECT_TRUE(changed);
    EXPECT_EQ(bindPairs(configuration), (Pairs{{"b", 7}, {"c", 8}}));
}

TEST_F(Editor, ClearsProxyAuthenticationAndReturnPortsOnAnythingButYes) {
    for (const char* answer : {"n", "no", "yes", "x"}) {
        SCOPED_TRACE(answer);
        useEverything();
        edit({"", "", "", "", answer, answer});
        EXPECT_EQ(configuration.getProxyHostname(), "");
        EXPECT_EQ(configuration.getProxyPort(), 0U);
        EXPECT_EQ(configuration.getUsername(), "");
        EXPECT_EQ(configuration.getPassword(), "");
        EXPECT_EQ(configuration.getReturnAddress(), "");
        EXPECT_EQ(configuration.getReturnPortMin(), 0U);
        EXPECT_EQ(configuration.getReturnPortMax(), 0U);
    }
    useEverything();
    edit({"", "", "", "", "Y", "", "", "n"});
    EXPECT_EQ(configuration.getProxyHostname(), "proxy");
    EXPECT_EQ(configuration.getUsername(), "");
    EXPECT_EQ(configuration.getPassword(), "");
}

TEST_F(Editor, TakesAProxyWithoutAPortForNone) {
    configuration.setProxyHostname("proxy");
    edit({"", "", "", ""});
    EXPECT_THAT(shown,
                HasSubstr("\nShould the QDVAgent contact an HTTP proxy to access the\nQDVServer? <y|N>: "));
}

TEST_F(Editor, OffersThisHostAsReturnAddressAndValidatesNothing) {
    edit({"", "s", "port", "-1", "n", "y", "9", "5", ""});
    EXPECT_THAT(shown, HasSubstr("Enter the return address <ip|hostname>[storage7]: "));
    EXPECT_EQ(configuration.getServerPort(), 0U);
    EXPECT_EQ(configuration.getServerSSLPort(), 4294967295U);
    EXPECT_EQ(configuration.getReturnPortMin(), 9U);
    EXPECT_EQ(configuration.getReturnPortMax(), 5U);
    EXPECT_EQ(configuration.getReturnAddress(), thisHost);
}

TEST_F(Editor, DropsEditsAndAddsPairs) {
    configuration.addBindPair("a", 1);
    configuration.addBindPair("b", 2);
    configuration.addBindPair("c", 3);
    EXPECT_TRUE(edit({"",     "",  "",   "",   "", "", //
                      "y",                             // edit pairs
                      "N",                             // drop a
                      "",     "Y", "bb", "22",         // edit b
                      "x",    "x",                     // keep c
                      "y",    "c", "3",                // add one that is there
                      "more", "d", "4",  "n",          //
                      "n",    "y"}));
    EXPECT_EQ(bindPairs(configuration), (Pairs{{"bb", 22}, {"c", 3}, {"d", 4}}));
    EXPECT_THAT(shown, HasSubstr("Do you want the QDVAgent to continue to listen on this\n"
                                 "port/address pair: b\t2 <Y|n>: "));
    EXPECT_THAT(shown, HasSubstr("Enter the new address to listen on <ip|hostname>(storage7)[b]: "
                                 "Enter the new port to listen on <port>(8372)[2]: "));
    EXPECT_THAT(shown, HasSubstr("\nThe port/address pair already exists.\n"));
    EXPECT_THAT(shown, HasSubstr("  port/address pairs:\n\tbb\t22\n\tc\t3\n\td\t4\n"));
}

TEST_F(Editor, MayEndWithNoPairAtAll) {
    configuration.addBindPair("a", 1);
    EXPECT_TRUE(edit({"", "", "", "", "", "", "y", "n", "", "", ""}));
    EXPECT_TRUE(changed);
    EXPECT_TRUE(bindPairs(configuration).empty());
}

TEST_F(Editor, AsksAgainForAPairWhereTheHostHasNoName) {
    EXPECT_TRUE(editText("\n\n\n\n\n"    // server, proxy, return ports
                         "\n\n\n"        // no address, and no more
                         "\n"            // the question again: yes
                         "a\n1\n\n\n\n", // a pair
                         false, ""));
    EXPECT_EQ(bindPairs(configuration), (Pairs{{"a", 1}}));
    EXPECT_THAT(shown, HasSubstr("Do you want to add more port/address pairs? <Y|n>: "));
}

TEST_F(Editor, GoesRoundAgainWithTheValuesAsTheyStand) {
    EXPECT_TRUE(edit({"", "first", "", "", "", "", "", "", "", //
                      "y", "", "81", "", "", "", "", "", "", "n"}));
    EXPECT_FALSE(changed);
    EXPECT_THAT(shown, HasSubstr("Enter the QDVServer hostname <ip|hostname>[first]: "));
    EXPECT_EQ(configuration.getServerHostname(), "first");
    EXPECT_EQ(configuration.getServerPort(), 81U);
    EXPECT_EQ(bindPairs(configuration), (Pairs{{thisHost, 8372}}));
}

TEST_F(Editor, SplitsALongAnswerOverTwoPrompts) {
    const std::string head(1023, 'h');
    editText("\n" + head + "81\n");
    EXPECT_EQ(configuration.getServerHostname(), head);
    EXPECT_EQ(configuration.getServerPort(), 81U);
}

TEST(StripFgets, RemovesOneLineFeedAndKnowsTheEnd) {
    std::string text("ab\n\ncd\r\n\0x\nlast", 15);
    Input input(text);
    char buffer[16];
    std::vector<std::string> read;
    while (strip_fgets(buffer, sizeof buffer, input.stream()) != nullptr)
        read.emplace_back(buffer);
    EXPECT_THAT(read, ElementsAre("ab", "", "cd\r", "", "last"));
}

} // namespace
