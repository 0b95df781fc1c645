#pragma once

#include "base/File_Descriptor.h"

#include <chrono>
#include <sys/types.h>

/// A child process that leads a session of its own, from its start until it has been reaped.
///
/// Whoever holds the object waits for the child, for output of it, or for a moment, whichever is first,
/// without polling where the kernel has pidfd_open(2) (Linux 5.3). A child that is still there when the
/// object goes is ended with its whole group; one that not even that ends soon, because it hangs inside the
/// kernel on a dead device, is left alone and reaped when a later child starts. An object is for one thread
/// at a time; the static operations are for any.
class Exec_ChildProcess {
public:
    using Clock = std::chrono::steady_clock;

    enum class Wake { Ended, Stopping, Readable, Deadline };
    enum class Watch { Descriptor, Polling };

    /// Takes over a child that has just been started, and ends it if the agent stops. `watch` is for kernels
    /// without pidfd_open.
    explicit Exec_ChildProcess(pid_t pid, Watch watch = Watch::Descriptor);
    Exec_ChildProcess(const Exec_ChildProcess&) = delete;
    Exec_ChildProcess& operator=(const Exec_ChildProcess&) = delete;
    ~Exec_ChildProcess();

    /// Ends all children of the process with their groups at once, wakes who waits for one, and does the same
    /// with each that starts later: the agent stops. Does not wait for them.
    static void endAll();
    /// Whether that has been asked for. No child should be started then.
    static bool areAllEnding();

    /// Waits until the child has ended, all are to end, `output` can be read (-1: nothing to be read), or
    /// `until` has passed. If several are true, the end of the child comes first and the output last, so that
    /// a child that never stops writing cannot put off the deadline. The child is not reaped.
    Wake wait(int output, Clock::time_point until);

    /// Takes the child's status (waitpid(2)), which frees its number. Waits if the child has not ended. False
    /// if there is no such child, with the cause in `errno`.
    bool reap(int& status);

    /// Ends the child and all processes of its group at once; nothing if it has been reaped.
    void endGroup() const;

private:
    bool hasEnded() const;
    Wake waitFor(int output, int stopSignal, Clock::time_point until);
    std::chrono::milliseconds nextPause(Clock::time_point now) const;

    pid_t pid_; ///< 0 once reaped
    Clock::time_point started_;
    File_Descriptor descriptor_; ///< readable when the child has ended; none if the end has to be asked for
};
