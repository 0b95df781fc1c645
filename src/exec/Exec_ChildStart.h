#pragma once

#include <csignal>

/// What all children have in common between fork and exec, where only async-signal-safe calls may be made
/// (signal-safety(7)).

/// Holds all signals of the calling thread back while it starts a child, so that no handler of the agent runs
/// in the child.
class Exec_SignalsHeldBack {
public:
    Exec_SignalsHeldBack();
    Exec_SignalsHeldBack(const Exec_SignalsHeldBack&) = delete;
    Exec_SignalsHeldBack& operator=(const Exec_SignalsHeldBack&) = delete;
    ~Exec_SignalsHeldBack();

private:
    sigset_t before_;
};

/// Called by the child: it gets a session of its own, so that it can neither reach the agent's terminal nor
/// join the agent's process group, and the system's defaults where the agent may have other settings: signal
/// handling, out-of-memory score, scheduling, and the limit of open files that the agent was started with.
/// What the system refuses stays as it is.
void Exec_LeaveAgentBehind() noexcept;
