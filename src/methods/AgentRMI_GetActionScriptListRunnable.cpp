#include "methods/AgentRMI_GetActionScriptListRunnable.h"

#include "xml/Xerces_Document.h"

#include <string_view>

namespace {

constexpr std::string_view offered[] = {"AMEMBER", "BMEMBER", "ZSCRIPT"};

void appendMember(xercesc::DOMElement& platform, std::string_view member) {
    const bool jobControl = member.starts_with('Z');
    xercesc::DOMElement& script =
        Xerces_AppendElement(platform, jobControl ? "JobControlScript" : "ObjectControlScript");
    if (!jobControl)
        Xerces_SetAttribute(script, "type", "none");
    Xerces_SetAttribute(script, "name", member);
}

} // namespace

bool AgentRMI_GetActionScriptListRunnable::serializeResult(xercesc::DOMDocument*,
                                                           xercesc::DOMElement* response) {
    xercesc::DOMElement& platform =
        Xerces_AppendElement(Xerces_AppendElement(*response, "Script"), "Platform");
    Xerces_SetAttribute(platform, "ostype", "zos");
    for (const std::string_view member : offered)
        appendMember(platform, member);
    return true;
}
