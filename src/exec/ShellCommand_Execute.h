#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <stop_token>
#include <string>

/// What one command may take. Beyond that it is ended, or its output refused.
struct ShellCommand_Limits {
    std::chrono::milliseconds runTime = std::chrono::minutes(5);
    std::size_t outputBytes = std::size_t{256} << 20;
    /// Ends the command early, within half a second.
    std::stop_token stop = {};
};

/// Runs a command line through /bin/sh as the agent's own user and gives what it wrote on its standard
/// output, which on the way lies in a file of its own in the current directory.
///
/// The exit status is not looked at: a tool that is missing, or fails, gives what it wrote, mostly nothing,
/// and true. False if the command could not be run, as after an error in its syntax; if it did not end within
/// its time, upon which all processes of its group are ended; if the agent stops; and if the output may be
/// incomplete, because the disk is full, or is too large. The file is gone in every case.
///
/// The output goes to a file because the text " > " and its name are appended: of several commands the last
/// one counts, and a command that ends in a comment is one that could not be run. Each 1024 bytes of output
/// count up to their first zero byte. On success `output` is a new array with a zero byte at the end, which
/// `length` does not count; the caller releases it with array delete. On failure it is null. Thread-safe; any
/// number can run at the same time. What goes into a command and is no constant goes through
/// ShellCommand_Quote.
bool ShellCommand_Execute(const char* command, char*& output, unsigned int& length);
bool ShellCommand_Execute(const char* command, const ShellCommand_Limits& limits, char*& output,
                          unsigned int& length);

/// The same as a text. None on failure, with the cause in `errno`: ETIMEDOUT and ECANCELED for a command that
/// was ended at its time limit or on request, EFBIG for too much output, else what the system says.
std::optional<std::string> ShellCommand_Output(const std::string& command,
                                               const ShellCommand_Limits& limits = {});
