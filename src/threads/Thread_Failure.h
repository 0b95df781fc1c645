#pragma once

/// How the thread primitives report what the platform's calls return. For the sources of this folder.
///
/// The log line is "THREAD: <function>: failed to <action>: <reason>", the reason from one table.

/// Logs that `function` was given no `object`. Always false.
bool Thread_NullArgument(const char* function, const char* object);

void Thread_LogFailure(int code, const char* function, const char* action);

/// True for code 0, the platform's success; any other code is logged.
inline bool Thread_Succeeded(int code, const char* function, const char* action) {
    if (code == 0)
        return true;
    Thread_LogFailure(code, function, action);
    return false;
}
