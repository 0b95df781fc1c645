#pragma once

#include "base/User_Account.h"
#include "exec/Exec_ExecResult.h"
#include "exec/Exec_Pipe.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <string>
#include <sys/types.h>

/// The steps of nxExecProgramAsUser. Those of the child run between fork and exec: they make
/// async-signal-safe calls only (signal-safety(7)), touch no memory but the plan's, and report failures over
/// a pipe, since the log may be locked by a thread that does not exist in the child.

/// The program, its arguments and a null pointer at the end.
constexpr std::size_t Exec_VectorEntries = 15;
using Exec_ArgumentVector = std::array<char*, Exec_VectorEntries>;

/// All that the child needs, made before the fork. Descriptors are -1 if there is no such pipe.
struct Exec_ChildPlan {
    Exec_ArgumentVector arguments{};
    uid_t uid = 0;
    gid_t gid = 0;
    int errorDescriptor = -1;
    int reportDescriptor = -1;
};

enum Exec_ChildStep { EXEC_STEP_STDERR, EXEC_STEP_SETGID, EXEC_STEP_SETUID, EXEC_STEP_EXEC };

/// What the child writes into the report pipe for a step that failed.
struct Exec_ChildReport {
    Exec_ChildStep step;
    int error; ///< as in `errno`
};

/// The caller sees to it that there are no more than 13 arguments. The vector borrows all texts.
void prepare_exec_arguments(const char* program, int argc, char* const* argv, Exec_ArgumentVector& arguments);

/// Closes every descriptor from 3 up but one, and puts that one at 3, to be closed by exec. -1: all are
/// closed. The result is 3 or -1 accordingly.
int create_sanitized_environment(int kept) noexcept;

/// Becomes the program; a child that cannot ends with exit status 255.
[[noreturn]] void plumb_setid_and_exec(const Exec_ChildPlan& plan) noexcept;

/// From the status that waitpid gave to a code and a text. False if the child has only stopped and must be
/// waited for again. `pipeResult` says whether there is a pipe for the child's standard error.
bool analyze_child_termination(int status, bool pipeResult, Exec_ErrorCapture& pipe, ExecResultCode& code,
                               std::string& text);
bool analyze_normal_termination(int status, bool pipeResult, Exec_ErrorCapture& pipe, ExecResultCode& code,
                                std::string& text);
bool analyze_abnormal_termination(int status, ExecResultCode& code, std::string& text);

/// Starts the program and waits for it, but no longer than `runTime`.
Exec_ExecResult Exec_RunAs(const User_Account& account, const Exec_ArgumentVector& arguments,
                           std::chrono::milliseconds runTime);
