#pragma once

#include <xercesc/util/XercesDefs.hpp>

#include <string>
#include <vector>

XERCES_CPP_NAMESPACE_BEGIN
class DOMElement;
XERCES_CPP_NAMESPACE_END

class Auditable_Auditable;

/// What the action methods share in reading their parameters, the MethodParameter children of Method.

/// Hands each parameter to `take`, which gets its name and element and says whether it can be used. False at
/// the first that cannot; children of other names are skipped.
template <typename Take>
bool AgentRMI_ForEachParameter(const xercesc::DOMElement& parent, Take take);

/// Stores the text of a parameter in `store` under its name. False if it has no text. The copy made on the
/// way is wiped, since one of these texts is a password.
bool AgentRMI_StoreParameter(const xercesc::DOMElement& parameter, const char* name,
                             Auditable_Auditable& store);

/// Whether a text from the wire may become part of a file name: not empty and without "/".
bool AgentRMI_IsSafeName(const char* text);

/// Throws RMI_MethodException with a general failure and the reason if the user's password, "sysuserid" and
/// "syspwd" of the store, is wrong or missing.
void AgentRMI_RequireSystemUser(const Auditable_Auditable& store);

/// The elements behind AgentRMI_ForEachParameter.
std::vector<const xercesc::DOMElement*> AgentRMI_ParameterElements(const xercesc::DOMElement& parent);
std::string AgentRMI_ParameterName(const xercesc::DOMElement& parameter);

template <typename Take>
bool AgentRMI_ForEachParameter(const xercesc::DOMElement& parent, Take take) {
    for (const xercesc::DOMElement* parameter : AgentRMI_ParameterElements(parent)) {
        if (!take(AgentRMI_ParameterName(*parameter), *parameter))
            return false;
    }
    return true;
}
