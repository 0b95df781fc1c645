#pragma once

#include "threads/Thread_Semaphore.h"

/// Released to ask the main thread to shut down; main waits on it for the whole life of the agent.
extern Thread_Semaphore gShutdownSemaphore;

/// Brings the agent up, waits for the request to stop, and takes everything down again in reverse order. The
/// result is the exit status: 0 after a clean stop, 1 if any stage of the start failed. Does not return if
/// threads outlast the shutdown: then the process ends at once with status 1.
int Agent_Run();

/// Ends the process without running destructors, since threads that still run may be using what they would
/// take down.
[[noreturn]] void Agent_Exit(int status);
