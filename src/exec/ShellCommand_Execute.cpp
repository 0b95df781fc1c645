#include "exec/ShellCommand_Execute.h"

#include "base/File_Descriptor.h"
#include "base/File_Operations.h"
#include "base/File_Temporary.h"
#include "exec/Exec_ChildProcess.h"
#include "exec/Exec_ChildStart.h"
#include "exec/Exec_CloseFrom.h"
#include "log/Debug_Printf.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = Exec_ChildProcess::Clock;

constexpr char shellPath[] = "/bin/sh";
constexpr int shellNotStarted = 127;
/// The unit in which zero bytes cut the output short.
constexpr std::size_t pieceSize = 1024;
/// A write that a full disk cuts short ends at a multiple of this.
constexpr off_t smallestDiskBlock = 512;
/// How often a running command is looked at: the size of its output, and whether it is to end.
constexpr std::chrono::milliseconds checkInterval{250};

/// The file that a command writes to. It is made before the shell opens it, so that nobody else can take its
/// name.
class OutputFile {
public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile() {
        if (descriptor_)
            File_Delete(name_.c_str());
    }

    bool create() {
        descriptor_ = File_CreateTemporary("", name_);
        // Opening it with truncation, as the shell does, stamps a file even if it is empty.
        const timespec never[2] = {};
        return descriptor_ && futimens(descriptor_.get(), never) == 0;
    }

    const std::string& name() const { return name_; }

    std::size_t size() const {
        struct stat attributes {};
        return fstat(descriptor_.get(), &attributes) == 0 ? static_cast<std::size_t>(attributes.st_size) : 0;
    }

    /// The size of the output; none if the shell never opened the file, if it has been removed meanwhile, or
    /// if the disk is full, so that some of the output may be missing.
    std::optional<std::size_t> completeSize() const {
        struct stat attributes {};
        if (fstat(descriptor_.get(), &attributes) != 0)
            return std::nullopt;
        if (attributes.st_nlink == 0 || (attributes.st_mtim.tv_sec == 0 && attributes.st_mtim.tv_nsec == 0)) {
            errno = EIO;
            return std::nullopt;
        }
        if (attributes.st_size % smallestDiskBlock == 0 &&
            pwrite(descriptor_.get(), "", 1, attributes.st_size) != 1)
            return std::nullopt;
        return static_cast<std::size_t>(attributes.st_size);
    }

    /// Fills the buffer from the start of the file. False if a read fails.
    bool read(char* buffer, std::size_t wanted, std::size_t& got) const {
        for (got = 0; got < wanted;) {
            std::size_t count = 0;
            if (!File_Read(descriptor_.get(), buffer + got, wanted - got, count))
                return false;
            if (count == 0)
                break;
            got += count;
        }
        return true;
    }

private:
    std::string name_;
    File_Descriptor descriptor_;
};

/// The error of exec, which the agent sees since it lends the child its memory.
[[gnu::noinline]] pid_t lendMemoryAndStart(char* const* arguments, volatile int& failure) {
    const pid_t pid = vfork(); // NOLINT(clang-analyzer-security.insecureAPI.vfork): the child stays root
    if (pid == 0) {
        Exec_LeaveAgentBehind();
        Exec_CloseFrom(STDERR_FILENO + 1);
        execv(shellPath, arguments);
        failure = errno;
        _exit(shellNotStarted);
    }
    return pid;
}

/// A new shell in a session of its own. The memory of the agent is shared until the shell has started, so its
/// size does not matter. False if there is none, with the cause in `errno`.
bool startShell(std::string commandLine, pid_t& pid) {
    char name[] = "sh";
    char option[] = "-c";
    char* const arguments[] = {name, option, commandLine.data(), nullptr};
    volatile int failure = 0;
    const Exec_SignalsHeldBack heldBack;
    pid = lendMemoryAndStart(arguments, failure);
    if (pid == -1)
        return false;
    if (failure == 0)
        return true;
    waitpid(pid, nullptr, 0);
    errno = failure;
    return false;
}

/// Why a command that still runs must not go on, as a number of errno; 0 if it may.
int reasonToEnd(const OutputFile& file, const ShellCommand_Limits& limits, Clock::time_point until) {
    if (limits.stop.stop_requested() || Exec_ChildProcess::areAllEnding())
        return ECANCELED;
    if (Clock::now() >= until)
        return ETIMEDOUT;
    return file.size() > limits.outputBytes ? EFBIG : 0;
}

/// False, with the cause in `errno`, if the command could not be started or had to be ended, which it then
/// has been.
bool run(const std::string& command, const OutputFile& file, const ShellCommand_Limits& limits) {
    const Clock::time_point until = Clock::now() + limits.runTime;
    int reason = reasonToEnd(file, limits, until);
    if (reason == 0) {
        pid_t pid = 0;
        if (!startShell(command + " > " + file.name(), pid))
            return false;
        Exec_ChildProcess child(pid);
        while (reason == 0) {
            const Clock::time_point next = std::min(until, Clock::now() + checkInterval);
            if (child.wait(File_Descriptor::None, next) == Exec_ChildProcess::Wake::Ended) {
                int ignored = 0;
                child.reap(ignored);
                // What a command wrote that was ended in the middle is not its output.
                errno = Exec_ChildProcess::areAllEnding() ? ECANCELED : 0;
                return errno == 0;
            }
            reason = reasonToEnd(file, limits, until);
        }
        DEBUG_LOG("EXEC: ending a command that takes too long or writes too much: %s\n", command.c_str());
    }
    errno = reason;
    return false;
}

/// Leaves of each piece what comes before its first zero byte.
void cutAtZeroBytes(std::string& text) {
    if (text.find('\0') == std::string::npos)
        return;
    std::size_t kept = 0;
    for (std::size_t at = 0; at < text.size(); at += pieceSize) {
        const std::size_t piece = strnlen(text.data() + at, std::min(pieceSize, text.size() - at));
        std::memmove(text.data() + kept, text.data() + at, piece);
        kept += piece;
    }
    text.resize(kept);
}

} // namespace

std::optional<std::string> ShellCommand_Output(const std::string& command,
                                               const ShellCommand_Limits& limits) {
    OutputFile file;
    if (!file.create() || !run(command, file, limits))
        return std::nullopt;
    const std::optional<std::size_t> size = file.completeSize();
    if (!size)
        return std::nullopt;
    if (*size > limits.outputBytes) {
        errno = EFBIG;
        return std::nullopt;
    }
    std::string text(*size, '\0');
    std::size_t got = 0;
    if (!file.read(text.data(), *size, got))
        return std::nullopt;
    text.resize(got);
    cutAtZeroBytes(text);
    return text;
}

bool ShellCommand_Execute(const char* command, char*& output, unsigned int& length) {
    return ShellCommand_Execute(command, ShellCommand_Limits(), output, length);
}

bool ShellCommand_Execute(const char* command, const ShellCommand_Limits& limits, char*& output,
                          unsigned int& length) {
    output = nullptr;
    length = 0;
    if (command == nullptr)
        return false;
    try {
        const std::optional<std::string> text = ShellCommand_Output(command, limits);
        if (!text)
            return false;
        output = new char[text->size() + 1];
        std::memcpy(output, text->c_str(), text->size() + 1);
        length = static_cast<unsigned int>(text->size());
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}
