#include "log/Debug_Printf.h"

#include "date/System_Date.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <string_view>
#include <unistd.h>

Debug_Printf gDebugPrintf __attribute__((init_priority(101)));

namespace {

constexpr long MaximumFileSize = 20480000;

/// The agent runs as root and its log names users and paths, so that others may not read it.
constexpr mode_t NewFileMode = 0640;

/// What a pipe that can be written to takes at least without making its writer wait.
constexpr std::size_t PieceSize = PIPE_BUF;

/// How long a line waits for a reader at a time; once only when the agent stops.
constexpr int ReaderWaitMilliseconds = 500;

/// What most messages fit into; a longer one is formatted twice.
constexpr std::size_t UsualLength = 256;

/// Of a line; the memory of a longer one is given back.
constexpr std::size_t KeptMemory = 4096;

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
    // A pipe under that name must not hold the agent.
    const int descriptor =
        open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, NewFileMode);
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
    std::va_list arguments;
    va_start(arguments, format);
    const bool formatted = formatLine(format, arguments);
    va_end(arguments);
    if (formatted)
        writeLine();
}

/// False if there is no memory for it.
bool Debug_Printf::formatLine(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    bool formatted = false;
    try {
        date_->setToCurrentTime();
        date_->serialize(&stamp_);
        line_.assign(stamp_).append(": ");
        const std::size_t start = line_.size();
        line_.resize(start + UsualLength);
        const int length = std::vsnprintf(line_.data() + start, line_.size() - start, format, arguments);
        formatted = length >= 0;
        const std::size_t end = start + static_cast<std::size_t>(std::max(length, 0));
        if (end >= line_.size()) {
            line_.resize(end + 1);
            std::vsnprintf(line_.data() + start, line_.size() - start, format, again);
        }
        line_.resize(end);
    } catch (const std::bad_alloc&) {
        formatted = false;
    }
    va_end(again);
    return formatted;
}

/// Whether `descriptor` can be written to. Without looking first, a full pipe would hold its writer where
/// nothing reaches it.
bool Debug_Printf::waitForReader(int descriptor) const {
    for (;;) {
        const bool lastTime = impatient_.load(std::memory_order_relaxed);
        pollfd event{descriptor, POLLOUT, 0};
        const int ready = poll(&event, 1, ReaderWaitMilliseconds);
        if (ready > 0)
            return true;
        if (ready == 0 && lastTime)
            return false;
    }
}

void Debug_Printf::writeLine() {
    std::fflush(stream_); // what others have printed comes first
    const int descriptor = fileno(stream_);
    for (std::string_view rest = line_; !rest.empty();) {
        if (!waitForReader(descriptor)) {
            setEnabled(false);
            break;
        }
        const ssize_t count = write(descriptor, rest.data(), std::min(rest.size(), PieceSize));
        if (count > 0)
            rest.remove_prefix(static_cast<std::size_t>(count));
        else if (errno != EINTR && errno != EAGAIN)
            break;
    }
    if (line_.capacity() > KeptMemory)
        line_ = std::string();
}

bool Debug_Printf::logfile_open(const char* path) {
    const ErrnoKeeper keepErrno;
    const std::lock_guard lock(mutex_);
    if (path == nullptr)
        return false;
    std::string copy(path); // may fail, so it comes before anything has changed
    std::FILE* stream = openEmpty(path);
    if (stream == nullptr)
        return false;
    closeFile();
    stream_ = stream;
    state_ = LogFile;
    path_.swap(copy);
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
    if (lseek(fileno(stream_), 0, SEEK_CUR) <= MaximumFileSize)
        return;
    closeFile();
    stream_ = openEmpty(path_.c_str());
}
