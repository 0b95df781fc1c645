#include "methods/AgentRMI_SaveActionRunnable.h"

#include "actions/AgentActions_ScriptletExecutor.h"
#include "base/File_Operations.h"
#include "log/Debug_Printf.h"

namespace {

constexpr const char* folder = "../actionSet/";

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
    std::size_t written = 0;
    return File_Save(path.c_str(), File_PermissionRead | File_PermissionExecute, File_FlagCreate,
                     action_.user->c_str(), action_.script.data(), action_.script.size(), written);
}
