#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

class System_Date;

/// The agent's log: standard output with -verbose, or a file that a remote method opens and closes.
///
/// A line is the UTC time "YYYY-MM-DD hh:mm:ss", ": " and the message, which brings its own line end. Off by
/// default: log sites go through DEBUG_LOG, which looks at isEnabled() before anything is formatted.
/// Thread-safe: a whole line is written under one mutex. A reader that does not keep up holds the writers,
/// until the agent stops. Nothing here throws or reports a failure: a log that cannot be written stays
/// silent. `errno` is left as it was, so that a log site may stand between a failure and the look at its
/// cause. Once destroyed, the object is disabled and a log site does nothing.
class Debug_Printf {
public:
    enum State { Closed = 0, StandardOutput = 1, LogFile = 2 };

    Debug_Printf();
    Debug_Printf(const Debug_Printf&) = delete;
    Debug_Printf& operator=(const Debug_Printf&) = delete;
    virtual ~Debug_Printf();

    bool isEnabled() const { return enabled_.load(std::memory_order_relaxed); }
    /// Takes no lock, so that it may be called at any moment.
    void setEnabled(bool enabled) { enabled_.store(enabled, std::memory_order_relaxed); }
    int getDebugState() const;

    /// The agent stops: from now on, and for who waits already, a log whose reader takes nothing for half a
    /// second is switched off. Takes no lock.
    void stopWaitingForReader() { impatient_.store(true, std::memory_order_relaxed); }

    /// Writes one stamped message. A log file that has passed 20,480,000 bytes is cut to nothing first.
    void print(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// Opens `path`, truncating it, and sends the log there; a log file that was open is closed. On failure
    /// nothing changes and the result is false.
    bool logfile_open(const char* path);
    /// Closes the log file if there is one, and switches the log off.
    bool logfile_close();

private:
    void closeFile();
    void restartFullFile();
    bool formatLine(const char* format, std::va_list arguments) __attribute__((format(printf, 2, 0)));
    bool waitForReader(int descriptor) const;
    void writeLine();

    std::unique_ptr<System_Date> date_;
    mutable std::mutex mutex_; ///< guards all but the two flags
    std::FILE* stream_;        ///< owned in state LogFile only; null if there is none
    std::atomic<bool> enabled_;
    std::atomic<bool> impatient_{false};
    std::string path_;
    int state_;
    std::string stamp_; ///< these two are kept from line to line, so that a usual line needs no memory
    std::string line_;
};

/// Constructed before and destroyed after all other objects of static life.
extern Debug_Printf gDebugPrintf;

/// The one way to write to the log: nothing is evaluated while it is off, and the compiler checks the format.
#define DEBUG_LOG(...)                                                                                       \
    do {                                                                                                     \
        if (gDebugPrintf.isEnabled())                                                                        \
            gDebugPrintf.print(__VA_ARGS__);                                                                 \
    } while (false)
