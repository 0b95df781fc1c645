#include "qdvctl/Ctl_Password.h"

#include "base/File_Descriptor.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Text.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::size_t longestPassword = 1024;

/// Ways in which a terminal takes a program away; the echo must come back before they do. SIGCONT tells of
/// one that could not be seen, after which the shell has left the terminal as it likes it.
constexpr std::array<int, 7> leavingSignals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGALRM, SIGCONT};

volatile std::sig_atomic_t arrivedSignal = 0;

void noteSignal(int number) {
    arrivedSignal = number;
}

/// While it lives a leaving signal only ends `waitFor`, which then gives false; afterwards it has the effect
/// that it would have had. The signals are let in only while that waits, so that none can come in front of
/// the wait and be missed.
class SignalGuard {
public:
    SignalGuard() {
        arrivedSignal = 0;
        sigset_t leaving;
        sigemptyset(&leaving);
        for (const int number : leavingSignals)
            sigaddset(&leaving, number);
        sigprocmask(SIG_BLOCK, &leaving, &maskBefore_);
        struct sigaction note {};
        note.sa_handler = noteSignal;
        for (std::size_t index = 0; index < leavingSignals.size(); ++index)
            sigaction(leavingSignals[index], &note, &before_[index]);
    }
    ~SignalGuard() {
        for (std::size_t index = 0; index < leavingSignals.size(); ++index)
            sigaction(leavingSignals[index], &before_[index], nullptr);
        if (arrivedSignal != 0)
            raise(arrivedSignal);
        sigprocmask(SIG_SETMASK, &maskBefore_, nullptr);
    }
    SignalGuard(const SignalGuard&) = delete;
    SignalGuard& operator=(const SignalGuard&) = delete;

    bool waitFor(int descriptor) const {
        pollfd event{descriptor, POLLIN, 0};
        int ready = -1;
        do
            ready = ppoll(&event, 1, nullptr, &maskBefore_);
        while (ready < 0 && errno == EINTR && arrivedSignal == 0);
        return ready > 0 && arrivedSignal == 0;
    }

private:
    sigset_t maskBefore_{};
    std::array<struct sigaction, leavingSignals.size()> before_{};
};

class EchoGuard {
public:
    explicit EchoGuard(int terminal) : terminal_(terminal) {
        if (tcgetattr(terminal_, &before_) != 0)
            throw Ctl_Failure(Ctl_WrongUsage,
                              std::string("cannot ask for the password: ") + std::strerror(errno));
        termios silent = before_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        silent.c_lflag |= ECHONL;
        tcsetattr(terminal_, TCSAFLUSH, &silent);
    }
    ~EchoGuard() { tcsetattr(terminal_, TCSAFLUSH, &before_); }
    EchoGuard(const EchoGuard&) = delete;
    EchoGuard& operator=(const EchoGuard&) = delete;

private:
    int terminal_;
    termios before_{};
};

/// Byte by byte, since what follows the line belongs to others. Nothing if not even a line end could be read,
/// or `mayRead`, asked before each byte, says no.
template <typename MayRead>
std::optional<Secret_Text> readLine(int descriptor, MayRead mayRead) {
    Secret_Text line;
    bool any = false;
    while (line.size() < longestPassword) {
        if (!mayRead()) {
            any = false;
            break;
        }
        char byte = 0;
        const ssize_t count = ::read(descriptor, &byte, 1);
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            continue;
        if (count <= 0)
            break;
        any = true;
        if (byte == '\n')
            break;
        line.append(byte);
    }
    if (!any)
        return std::nullopt;
    return line;
}

std::optional<Secret_Text> askOnce(int terminal, const std::string& prompt) {
    const SignalGuard signals;
    const EchoGuard silence(terminal);
    if (::write(terminal, prompt.data(), prompt.size()) != static_cast<ssize_t>(prompt.size()))
        return std::nullopt;
    return readLine(terminal, [&] { return signals.waitFor(terminal); });
}

/// On the terminal that controls the process, also when standard input and output go elsewhere.
Secret_Text askPassword(const std::string& user) {
    const File_Descriptor terminal(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!terminal)
        throw Ctl_Failure(Ctl_WrongUsage,
                          "no terminal to ask for the password on; give it with --password-fd");
    const std::string prompt = "Password of " + Ctl_Printable(user) + ": ";
    std::optional<Secret_Text> password;
    // Whoever comes back to a stopped program is asked again.
    do
        password = askOnce(terminal.get(), prompt);
    while (!password && (arrivedSignal == SIGTSTP || arrivedSignal == SIGCONT));
    if (!password)
        throw Ctl_Failure(Ctl_WrongUsage, "no password was given");
    return std::move(*password);
}

/// Whoever handed the descriptor down may have left it non-blocking.
bool awaitInput(int descriptor) {
    pollfd event{descriptor, POLLIN, 0};
    while (poll(&event, 1, -1) < 0 && errno == EINTR) {
    }
    return true;
}

Secret_Text readPassword(int descriptor) {
    std::optional<Secret_Text> password = readLine(descriptor, [&] { return awaitInput(descriptor); });
    if (!password)
        throw Ctl_Failure(Ctl_WrongUsage,
                          "no password can be read from descriptor " + std::to_string(descriptor));
    return std::move(*password);
}

} // namespace

Secret_Text Ctl_ObtainPassword(const std::string& user, int descriptor) {
    return descriptor < 0 ? askPassword(user) : readPassword(descriptor);
}
