#include "methods/AgentRMI_GetActionScriptListRunnable.h"

#include "log/Debug_Printf.h"
#include "xml/Xerces_Document.h"

namespace {

constexpr const char* offered[] = {"AMEMBER", "BMEMBER", "ZSCRIPT"};

void appendMember(xercesc::DOMElement& platform, const std::string& member) {
    const bool jobControl = member.starts_with('Z');
    xercesc::DOMElement& script =
        Xerces_AppendElement(platform, jobControl ? "JobControlScript" : "ObjectControlScript");
    if (!jobControl)
        Xerces_SetAttribute(script, "type", "none");
    Xerces_SetAttribute(script, "name", member);
}

} // namespace

AgentRMI_GetActionScriptListRunnable::AgentRMI_GetActionScriptListRunnable() {
    setName("GetActionScriptList");
}

bool AgentRMI_GetActionScriptListRunnable::invoke() {
    bool terminate = false;
    const bool goOn = isTerminateSet(terminate) && !terminate;
    if (!goOn)
        DEBUG_LOG("AgentRMI_GetActionScriptListRunnable::invoke check terminate\n");
    members_.assign(std::begin(offered), std::end(offered));
    DEBUG_LOG("AgentRMI_GetActionScriptListRunnable::invoke %s\n", goOn ? "success" : "failure");
    return goOn;
}

bool AgentRMI_GetActionScriptListRunnable::serializeResult(xercesc::DOMDocument*,
                                                           xercesc::DOMElement* response) {
    xercesc::DOMElement& platform =
        Xerces_AppendElement(Xerces_AppendElement(*response, "Script"), "Platform");
    Xerces_SetAttribute(platform, "ostype", "zos");
    for (const std::string& member : members_) {
        if (!member.starts_with("PRO"))
            appendMember(platform, member);
    }
    return true;
}
