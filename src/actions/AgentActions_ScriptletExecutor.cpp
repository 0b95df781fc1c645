#include "actions/AgentActions_ScriptletExecutor.h"

#include "base/File_Operations.h"
#include "base/String_Functions.h"
#include "exec/Exec_Program.h"
#include "log/Debug_Printf.h"

#include <algorithm>

namespace {

/// Relative to the agent's working directory, the folder of its executable.
constexpr std::string_view folder = "../actionSet/";
constexpr std::string_view namePrefix = "proactivity_scriptlet_temp_file_";
constexpr std::string_view nameSuffix = ".sh";

std::string nameOf(const char* actionId, int index) {
    return std::string(namePrefix) + actionId + "_" + std::to_string(index) + std::string(nameSuffix);
}

} // namespace

AgentActions_ScriptletExecutor::AgentActions_ScriptletExecutor(const char*, const char* actionId, int index,
                                                               std::string_view script)
    : temporaryFile_(std::string(folder) + nameOf(actionId, index)), script_(script) {}

bool AgentActions_IsScriptletName(std::string_view name) {
    if (!name.starts_with(namePrefix) || !name.ends_with(nameSuffix))
        return false;
    name.remove_prefix(namePrefix.size());
    name.remove_suffix(std::min(name.size(), nameSuffix.size()));
    const std::size_t index = name.rfind('_') + 1;
    return index > 1 && index < name.size() &&
           name.find_first_not_of("0123456789", index) == std::string_view::npos;
}

/// Always a new file: one that is already there may belong to another user, who must neither read this text
/// nor have it run as him.
bool AgentActions_ScriptletExecutor::save(const char* user) {
    File_Delete(temporaryFile_.c_str());
    std::size_t written = 0;
    return File_Save(temporaryFile_.c_str(), File_PermissionRead, File_FlagCreate | File_FlagExclusive, user,
                     script_.data(), script_.size(), written);
}

void AgentActions_ScriptletExecutor::exec(const char* user, const char* password) {
    DEBUG_LOG("Would have exec'd the following\n %s\n", script_.c_str());
    DEBUG_LOG("ScriptletExecutor: writing temp file %s\n", temporaryFile_.c_str());
    const bool saved = save(user);
    const std::string cause = saved ? std::string() : nxGetLastErrorMessage();
    DEBUG_LOG("ScriptletExecutor: execing the script\n");
    if (saved) {
        result_ = nxExecScriptAsUser(temporaryFile_.c_str(), 0, nullptr, user, password);
    } else {
        result_ = Exec_ExecResult(EXEC_ERROR, "ScriptletExecutor.exec error creating temp file: " + cause);
        DEBUG_LOG("%s\n", result_.getErrorString().c_str());
    }
    DEBUG_LOG("ScriptletExecutor:deleting temp file\n");
    if (!saved || !File_Delete(temporaryFile_.c_str()))
        DEBUG_LOG("ScriptletExecutor.exec error deleting temp file\n");
}
