#include "methods/AgentRMI_SaveActionRunnable.h"

#include "actions/AgentActions_ScriptletExecutor.h"
#include "base/File_Operations.h"
#include "base/User_Account.h"
#include "log/Debug_Printf.h"

#include <mutex>
#include <sys/stat.h>

namespace {

constexpr const char* folder = "../actionSet/";

/// Held from the look at whose file it is until it has been replaced, so that of two users who save under a
/// new name at once only one does.
std::mutex saving;

/// Whoever runs a saved script, its owner or root, trusts that it is the owner's.
bool belongsToAnother(const std::string& path, const std::string& user) {
    struct stat old {};
    const auto account = User_FindByName(user.c_str());
    return account && lstat(path.c_str(), &old) == 0 && old.st_uid != account->uid;
}

} // namespace

bool AgentRMI_SaveActionRunnable::parseElements(const xercesc::DOMElement& method) {
    auto read = AgentRMI_ReadActionParameters(method, AgentRMI_ActionMethod::SaveAction);
    if (read)
        action_ = std::move(*read);
    return read.has_value();
}

bool AgentRMI_SaveActionRunnable::invoke() {
    if (!action_.user || !action_.password)
        return false;
    AgentRMI_RequireSystemUser(action_);
    if (!AgentRMI_FitsFileName("actionid", action_.actionId) ||
        !AgentRMI_FitsFileName("actionname", action_.actionName) ||
        !AgentRMI_FitsFileName("templatename", action_.templateName))
        return false;
    const std::string name = *action_.actionId + "_" + *action_.actionName + "_" + *action_.templateName;
    if (AgentActions_IsScriptletName(name)) {
        DEBUG_LOG("Refusing an action: %s is the name of a running action's file\n", name.c_str());
        return false;
    }
    const std::string path = folder + name;
    const std::lock_guard lock(saving);
    if (belongsToAnother(path, *action_.user))
        AgentRMI_RefuseAction(name + " belongs to another user");
    std::size_t written = 0;
    return File_Save(path.c_str(), File_PermissionRead | File_PermissionExecute, File_FlagCreate,
                     action_.user->c_str(), action_.script.data(), action_.script.size(), written);
}
