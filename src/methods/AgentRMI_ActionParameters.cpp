#include "methods/AgentRMI_ActionParameters.h"

#include "base/String_Functions.h"
#include "exec/Security_UserAuthenticator.h"
#include "model/Auditable_Auditable.h"
#include "rmi/RMI_MethodException.h"
#include "xml/Xerces_Document.h"

#include <cstring>
#include <optional>

std::vector<const xercesc::DOMElement*> AgentRMI_ParameterElements(const xercesc::DOMElement& parent) {
    const auto elements = Xerces_ChildElements(parent, "MethodParameter");
    return {elements.begin(), elements.end()};
}

std::string AgentRMI_ParameterName(const xercesc::DOMElement& parameter) {
    return Xerces_GetAttribute(parameter, "name");
}

bool AgentRMI_StoreParameter(const xercesc::DOMElement& parameter, const char* name,
                             Auditable_Auditable& store) {
    std::optional<std::string> text = Xerces_FirstText(parameter);
    if (!text)
        return false;
    const bool stored = store.setAuditParameterValue(name, text->c_str());
    nxWipeText(*text);
    return stored;
}

bool AgentRMI_IsSafeName(const char* text) {
    return text != nullptr && *text != '\0' && std::strchr(text, '/') == nullptr;
}

void AgentRMI_RequireSystemUser(const Auditable_Auditable& store) {
    const Security_AuthResult result = nxValidateSystemUser(store.getAuditParameterValue("sysuserid"),
                                                            store.getAuditParameterValue("syspwd"));
    if (result.getCode() != AUTH_SUCCESS)
        throw RMI_MethodException(RMI_MethodException::GeneralFailure,
                                  "invalid user or password " + result.getErrorString());
}
