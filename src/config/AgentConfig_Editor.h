#pragma once

#include <cstdio>
#include <string>
#include <vector>

class AgentConfig_Configuration;
class HTTP_AddressPortPair;

/// One line of `input` into `buffer`, without its line feed. A line of `size` bytes or more comes in pieces.
/// Null at the end of the input.
char* strip_fgets(char* buffer, int size, std::FILE* input = stdin);

/// Which answers mean yes; case never matters.
enum class AgentConfig_YesFor {
    Y,              ///< "y" and nothing else
    YOrEmpty,       ///< "y" and an empty line
    AllButN,        ///< anything but "n"
    AllButNOrEmpty, ///< anything but "n" and an empty line
};

/// Question and answer in lines of text. Both streams are borrowed. Text is flushed before an answer is
/// waited for, so that it works through a pipe as on a terminal.
class AgentConfig_Dialog {
public:
    /// Thrown where an answer was due and the input had ended.
    struct EndOfInput {};

    AgentConfig_Dialog(std::FILE* input, std::FILE* output) : input_(input), output_(output) {}

    void print(const char* format, ...) __attribute__((format(printf, 2, 3)));
    /// The same, set off from what stands before it by an empty line.
    void block(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// The answer to what was printed last.
    bool isYes(AgentConfig_YesFor rule);
    /// `current` for an empty line.
    std::string text(const std::string& current);
    /// `current` for an empty line, 0 for what is no number.
    unsigned number(unsigned current);

private:
    std::string answer();

    std::FILE* input_;
    std::FILE* output_;
};

/// The dialog that makes or changes an agent.conf. Works on a borrowed configuration, which holds half the
/// answers if the input ends half-way. Answers are taken as they come: nothing is validated here.
class AgentConfig_Editor {
public:
    /// `hostName` is offered where this host's own address is asked for.
    AgentConfig_Editor(AgentConfig_Configuration& configuration, std::string hostName, std::FILE* input,
                       std::FILE* output);

    /// False if the input ended at a prompt. `changed` tells whether the configuration is to be saved.
    bool edit(bool fileExists, bool& changed);

private:
    void printContents();
    bool wantsToStart(bool fileExists);
    void editServer();
    void editProxy();
    void editProxyAuthentication();
    void editReturnAddress();
    void editBindPairs();
    void reviewPairs();
    bool reviewPair(HTTP_AddressPortPair& pair);
    void addPairs();
    void addPair();
    void sayThatNoPairIsBound();
    void printSummary();
    void printProxySummary();

    bool hasProxy() const;
    bool hasReturnAddress() const;

    AgentConfig_Configuration& configuration_;
    std::string hostName_;
    AgentConfig_Dialog dialog_;
    std::vector<HTTP_AddressPortPair> pairs_;
};
