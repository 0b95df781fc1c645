#pragma once

#include <string>
#include <string_view>

/// One word for a command line of the shell, whatever it holds: the shell gives the command exactly these
/// bytes. Ordinary words (letters, digits and _@%+=:,./-) stay as they are; the empty word becomes ''.
///
/// A word that begins with "-" is still an option to the command that gets it, and one with "=" in front of a
/// command an assignment: that is the caller's business. No argument can hold a zero byte, so such a word
/// throws std::invalid_argument.
std::string ShellCommand_Quote(std::string_view word);
