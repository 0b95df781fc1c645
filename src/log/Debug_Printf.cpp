#include "log/Debug_Printf.h"

#include "date/System_Date.h"

#include <cerrno>
#include <cstdarg>
#include <fcntl.h>
#include <unistd.h>

Debug_Printf gDebugPrintf __attribute__((init_priority(101)));

namespace {

constexpr long MaximumFileSize = 20480000;

/// The agent runs as root and its log names users and paths, so that others may not read it.
constexpr mode_t NewFileMode = 0640;

class ErrnoKeeper {
public:
    ErrnoKeeper() = default;
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;
    ~ErrnoKeeper() { errno = saved_; }

private:
    int saved_ = errno;
};

std::FILE* openEmpty(const char* path) {
    const int descriptor = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY, NewFileMode);
    if (descriptor == -1)
        return nullptr;
    std::FILE* stream = fdopen(descriptor, "w");
    if (stream == nullptr)
        close(descriptor);
    return stream;
}

} // namespace

Debug_Printf::Debug_Printf()
    : date_(System_FactoryAllocateDate()), stream_(stdout), enabled_(false), state_(StandardOutput) {
    date_->serialize(&stamp_);
}

Debug_Printf::~Debug_Printf() {
    const std::lock_guard lock(mutex_);
    setEnabled(false);
    closeFile();
    stream_ = nullptr;
}

int Debug_Printf::getDebugState() const {
    const std::lock_guard lock(mutex_);
    return state_;
}

void Debug_Printf::print(const char* format, ...) {
    const ErrnoKeeper keepErrno;
    const std::lock_guard lock(mutex_);
    if (!isEnabled() || stream_ == nullptr)
        return;
    if (state_ == LogFile)
        restartFullFile();
    if (stream_ == nullptr)
        return;
    date_->setToCurrentTime();
    date_->serialize(&stamp_);
    std::fprintf(stream_, "%s: ", stamp_.c_str());
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stream_, format, arguments);
    va_end(arguments);
    std::fflush(stream_);
}

bool Debug_Printf::logfile_open(const char* path) {
    const ErrnoKeeper keepErrno;
    const std::lock_guard lock(mutex_);
    std::FILE* stream = path == nullptr ? nullptr : openEmpty(path);
    if (stream == nullptr)
        return false;
    closeFile();
    stream_ = stream;
    state_ = LogFile;
    path_ = path;
    setEnabled(true);
    return true;
}

bool Debug_Printf::logfile_close() {
    const ErrnoKeeper keepErrno;
    const std::lock_guard lock(mutex_);
    closeFile();
    state_ = Closed;
    setEnabled(false);
    path_.clear();
    return true;
}

void Debug_Printf::closeFile() {
    if (state_ != LogFile || stream_ == nullptr)
        return;
    std::fclose(stream_);
    stream_ = nullptr;
}

/// The path is opened again instead of cutting the file that is open: whoever has moved it away gets a new
/// one.
void Debug_Printf::restartFullFile() {
    if (std::ftell(stream_) <= MaximumFileSize)
        return;
    closeFile();
    stream_ = openEmpty(path_.c_str());
}
