#include "exec/ShellCommand_Quote.h"

#include <stdexcept>

namespace {

constexpr std::string_view ordinary =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_@%+=:,./-";

} // namespace

std::string ShellCommand_Quote(std::string_view word) {
    if (word.find('\0') != std::string_view::npos)
        throw std::invalid_argument("a word with a zero byte in a command line");
    if (!word.empty() && word.find_first_not_of(ordinary) == std::string_view::npos)
        return std::string(word);

    std::string quoted = "'";
    for (const char character : word) {
        // Within single quotes nothing can stand for a single quote: end, add an escaped one, begin again.
        if (character == '\'')
            quoted += "'\\''";
        else
            quoted += character;
    }
    quoted += '\'';
    return quoted;
}
