// qdvctl: an agent's methods from the command line, a stand-in for its server, and a look at its
// configuration.
//
//   main.cpp            the command line as a whole, errors and exit status
//   Ctl_Command.h       the list of subcommands; each has a file of its own:
//     Ctl_Ping, Ctl_Call, Ctl_Verbose, Ctl_SSL    call an agent
//     Ctl_Host, Ctl_Audit, Ctl_ActionCommand      have it audit its host, and run scripts
//     Ctl_Files, Ctl_Search                       have it look at files, and search for them
//     Ctl_HostCapture                             records this machine, as a case for tests of the audits
//     Ctl_Serve                                   answers an agent's calls
//     Ctl_Config                                  checks and shows configuration files
//   Ctl_AgentCommand    what all commands that call an agent share: call, show the reply, exit status
//   Ctl_AgentOptions    their options
//   Ctl_AgentClient     one call: identity and user in, reply out
//   Ctl_Deadline        ends a call that takes too long
//   Ctl_Server          the stand-in for the management server
//   Ctl_ServeHandler    how it answers a call, and shows it
//   Ctl_Envelope        the XML of requests and replies, both ways
//   Ctl_Node            a document as plain values
//   Ctl_SearchExpression  what a person looks for as a condition that the agent reads
//   Ctl_SearchReports   what the agent tells of a search while it runs
//   Ctl_SearchHits      what it has found, page by page
//   Ctl_FileTables      files and directories, and searches, as tables
//   Ctl_ProgressLine    a line on the terminal that is written over
//   Ctl_Interrupt       what is said when a command is interrupted
//   Ctl_StorageStack    the levels of the storage and their links as a graph
//   Ctl_StorageTree     that as a tree
//   Ctl_StoragePicture  that as a picture and a page
//   Ctl_ConfigFiles     the agent's configuration files as it would read them
//   Ctl_Input           files and standard input, read whole
//   Ctl_Render          such values as text for a person, and as JSON
//   Ctl_Text            bytes from outside made fit for a terminal, and for JSON
//   Ctl_Password        asked for without echo, wiped after use
//   Ctl_Layers          which libraries have to be up
//   Ctl_Switch          the argument "on" or "off"
//   Ctl_Help            the layout of --help
//   Ctl_Failure         errors that end a command, and the exit statuses

#include "base/Agent_Version.h"
#include "qdvctl/Ctl_Command.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Help.h"
#include "qdvctl/Ctl_Text.h"

#include <CLI/CLI.hpp>

#include <clocale>
#include <cstdio>
#include <exception>
#include <langinfo.h>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr const char* exitStatuses =
    "Exit status: 0 success; 1 the agent refused, or a file is faulty;\n"
    "             2 wrong usage; 3 no answer.\n"
    "\"qdvctl COMMAND --help\" tells the options of a command; see also qdvctl(1).";

int fail(int status, const std::string& message) {
    Ctl_Say(message);
    return status;
}

int failUsage(const CLI::App& app, const std::string& message) {
    return fail(Ctl_WrongUsage, message + "; see \"" + Ctl_NamedCommand(app) + " --help\"");
}

/// The library complains of a missing command where an unknown one was given.
std::string describe(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<std::string> rest = app.remaining(true);
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr && !rest.empty() && rest.front()[0] != '-')
        return "there is no command " + rest.front();
    return error.what();
}

/// Characters of several bytes are safe on a terminal only if it reads them as such.
bool isTerminalUtf8() {
    return std::setlocale(LC_CTYPE, "") != nullptr && std::string_view(nl_langinfo(CODESET)) == "UTF-8";
}

int run(int argc, char* argv[]) {
    CLI::App app("Operates a QDVAgent, stands in for its server, checks its configuration.", "qdvctl");
    app.formatter(Ctl_HelpFormatter());
    app.set_version_flag("--version", std::string("qdvctl ") + Agent_Version, "Print the version and exit");
    app.get_help_ptr()->description("Print this help and exit");
    app.require_subcommand(1);
    app.footer(exitStatuses);
    Ctl_Action chosen;
    for (auto* add : {Ctl_AddPing, Ctl_AddCall, Ctl_AddVerbose, Ctl_AddSSL, Ctl_AddHost, Ctl_AddAudit,
                      Ctl_AddFiles, Ctl_AddSearch, Ctl_AddAction, Ctl_AddServe, Ctl_AddConfig})
        add(app, chosen);
    try {
        app.parse(argc, argv);
        return chosen();
    } catch (const CLI::Success& shown) {
        return app.exit(shown); // help or version
    } catch (const CLI::ParseError& error) {
        return failUsage(app, describe(app, error));
    } catch (const Ctl_Failure& failure) {
        if (failure.status() != Ctl_WrongUsage)
            throw;
        failUsage(app, failure.what());
        if (!failure.place().empty())
            std::fprintf(stderr, "%s\n", failure.place().c_str());
        return Ctl_WrongUsage;
    }
}

} // namespace

int main(int argc, char* argv[]) {
    int status = Ctl_Unanswered;
    Ctl_SetTerminalUtf8(isTerminalUtf8());
    try {
        status = run(argc, argv);
    } catch (const Ctl_Failure& failure) {
        status = fail(failure.status(), failure.what());
    } catch (const std::exception& failure) {
        status = fail(Ctl_Unanswered, failure.what());
    }
    // What could not be written may have been flushed, and lost, long before.
    if ((std::fflush(stdout) != 0 || std::ferror(stdout) != 0) && status == Ctl_Succeeded)
        return fail(Ctl_Unanswered, "the output cannot be written");
    return status;
}
