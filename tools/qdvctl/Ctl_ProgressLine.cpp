#include "qdvctl/Ctl_ProgressLine.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr std::string_view wiped = "\r\x1b[K";
constexpr std::size_t usualColumns = 80;
constexpr std::size_t barWidth = 20;

std::size_t columnsOfTerminal() {
    winsize size{};
    const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : usualColumns;
}

/// Not through stdio: a thread that was stopped in the middle of it would hold the stream.
void writeToTerminal(std::string_view text) {
    if (write(STDERR_FILENO, text.data(), text.size()) < 0)
        return; // nobody looks
}

} // namespace

Ctl_ProgressLine::~Ctl_ProgressLine() {
    if (isShown_)
        wipe();
}

void Ctl_ProgressLine::show(const std::string& text) {
    if (isatty(STDERR_FILENO) == 0)
        return;
    // In the last column the terminal would begin a new line.
    writeToTerminal(std::string(wiped) + text.substr(0, columnsOfTerminal() - 1));
    isShown_ = true;
}

std::chrono::seconds Ctl_ProgressLine::time() const {
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - started_);
}

void Ctl_ProgressLine::wipe() {
    if (isatty(STDERR_FILENO) != 0)
        writeToTerminal(wiped);
}

std::string Ctl_ProgressBar(double share) {
    share = std::clamp(share, 0.0, 1.0);
    const auto full = static_cast<std::size_t>(share * barWidth);
    std::string percent = std::to_string(static_cast<unsigned>(share * 100));
    percent.insert(0, 3 - percent.size(), ' ');
    return "[" + std::string(full, '#') + std::string(barWidth - full, '-') + "] " + percent + " %";
}
