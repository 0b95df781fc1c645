#pragma once

#include <string>

/// How standard input is named on the command line.
constexpr const char* Ctl_StandardInput = "-";

/// All that a file, a pipe, a terminal or a socket gives until its end, however slowly it comes. "-" and
/// "/dev/stdin" are the standard input as it was inherited, which opening a name anew would not give: it may
/// be a socket. Throws a Ctl_Failure that begins with `what` if it cannot be read or is larger than the 256
/// MiB that an agent takes.
std::string Ctl_ReadInput(const std::string& what, const std::string& file);
