#pragma once

#include "exec/Exec_ExecResult.h"

#include <string>
#include <string_view>

/// Whether a file of that name in the folder of actions belongs to scriptlets, which come and go with the
/// actions that run. No other file there may have such a name.
bool AgentActions_IsScriptletName(std::string_view name);

/// One piece of an action script: it is written to a temporary file that only its user can read, run as that
/// user, and removed again. A value; used by the thread that runs the action.
class AgentActions_ScriptletExecutor {
public:
    /// The file's name holds action id and index, so those of two actions, or of two scriptlets of one
    /// action, differ. The id must be safe as part of a file name, and only one action of an id may run at a
    /// time (AgentActions_RunningAction).
    AgentActions_ScriptletExecutor(const char* actionName, const char* actionId, int index,
                                   std::string_view script);
    AgentActions_ScriptletExecutor(const AgentActions_ScriptletExecutor&) = default;
    AgentActions_ScriptletExecutor(AgentActions_ScriptletExecutor&&) = default;
    AgentActions_ScriptletExecutor& operator=(const AgentActions_ScriptletExecutor&) = default;
    AgentActions_ScriptletExecutor& operator=(AgentActions_ScriptletExecutor&&) = default;
    virtual ~AgentActions_ScriptletExecutor() = default;

    /// Blocks until the scriptlet has ended. Whatever goes wrong is in the result.
    void exec(const char* user, const char* password);
    /// "pending execution" until exec has been called.
    const Exec_ExecResult& getExecResult() const { return result_; }

private:
    bool save(const char* user);

    Exec_ExecResult result_;
    std::string temporaryFile_;
    std::string script_;
};
