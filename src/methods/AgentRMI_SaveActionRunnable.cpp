#include "methods/AgentRMI_SaveActionRunnable.h"

#include "base/File_Operations.h"
#include "methods/AgentRMI_ActionParameters.h"
#include "xml/Xerces_Document.h"

#include <algorithm>
#include <array>
#include <optional>

namespace {

/// In the order in which they make the file's name.
constexpr std::array fileNameParts = {"actionid", "actionname", "templatename"};
constexpr std::array credentials = {"sysuserid", "syspwd"};

template <typename Names>
const char* findName(const Names& names, const std::string& name) {
    const auto found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? nullptr : *found;
}

} // namespace

AgentRMI_SaveActionRunnable::AgentRMI_SaveActionRunnable() {
    setName("SaveAction");
}

bool AgentRMI_SaveActionRunnable::parseElements(const xercesc::DOMElement& method) {
    const auto take = [this](const std::string& name, const xercesc::DOMElement& parameter) {
        const char* stored = findName(fileNameParts, name);
        if (stored == nullptr)
            stored = findName(credentials, name);
        if (stored != nullptr)
            return AgentRMI_StoreParameter(parameter, stored, *this);
        if (name != "actionscript")
            return true;
        std::optional<std::string> script = Xerces_FirstText(parameter);
        if (script)
            actionScript_ = std::move(*script);
        return script.has_value();
    };
    return AgentRMI_ForEachParameter(method, take);
}

bool AgentRMI_SaveActionRunnable::invoke() {
    const auto missing = [this](const char* name) { return getAuditParameterValue(name) == nullptr; };
    if (std::any_of(credentials.begin(), credentials.end(), missing))
        return false;
    AgentRMI_RequireSystemUser(*this);
    std::string path = "../actionSet/";
    for (const char* name : fileNameParts) {
        const char* part = getAuditParameterValue(name);
        if (!AgentRMI_IsSafeName(part))
            return false;
        path.append(name == fileNameParts.front() ? "" : "_").append(part);
    }
    std::size_t written = 0;
    return File_Save(path.c_str(), File_PermissionRead | File_PermissionExecute, File_FlagCreate,
                     getAuditParameterValue("sysuserid"), actionScript_.data(), actionScript_.size(),
                     written);
}
