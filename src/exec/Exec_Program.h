#pragma once

#include "exec/Exec_ExecResult.h"

#include <chrono>

/// The most arguments that nxExecProgramAsUser takes besides the program. A script is itself an argument of
/// the shell, so it can have one less.
constexpr int Exec_MaximumArguments = 12;

/// How long a program may run before it is ended with all processes of its group.
constexpr std::chrono::milliseconds Exec_MaximumRunTime = std::chrono::hours(1);

/// Runs a program as a system user whose password is checked first, and waits for it on the calling thread.
///
/// `program` is an absolute path; `argv` holds `argc` arguments without the program's name. The program gets
/// the user's primary group and no other, the agent's environment, current directory, standard input and
/// output, a session of its own, and default signal handling, scheduling and out-of-memory score. What it
/// started and left running is left alone, unless it had to be ended itself, at its time limit or because the
/// agent stops. Of its standard error the first 254 bytes come back in the text of a non-zero exit status,
/// zero bytes as blanks. Thread-safe; throws nothing but std::bad_alloc: whatever happens is in the result.
/// The password is not kept, logged or handed to the child.
Exec_ExecResult nxExecProgramAsUser(const char* program, int argc, char* const* argv, const char* user,
                                    const char* password);

/// The same for a shell script: `program` is its path, which ends in ".sh". The user must be able to read it.
Exec_ExecResult nxExecScriptAsUser(const char* program, int argc, char* const* argv, const char* user,
                                   const char* password);
