#include "methods/AgentRMI_ActionParameters.h"

#include "exec/Security_UserAuthenticator.h"
#include "log/Debug_Printf.h"
#include "rmi/RMI_MethodException.h"
#include "xml/Xerces_Document.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {

using Parameters = AgentRMI_ActionParameters;

/// Hands the name and the text of each parameter to `take`, which says whether it can be used.
template <typename Take>
bool forEachParameter(const xercesc::DOMElement& parent, Take take) {
    const auto elements = Xerces_ChildElements(parent, "MethodParameter");
    return std::all_of(elements.begin(), elements.end(), [&](const xercesc::DOMElement* parameter) {
        return take(Xerces_GetAttribute(*parameter, "name"), *parameter);
    });
}

bool store(std::optional<std::string>& value, std::string&& text) {
    if (!value)
        value = std::move(text);
    return true;
}

bool store(std::optional<Secret_Text>& value, std::string&& text) {
    Secret_Text secret = Secret_Text::take(std::move(text));
    if (!value)
        value = std::move(secret);
    return true;
}

bool store(std::string& value, std::string&& text) {
    value = std::move(text);
    return true;
}

template <auto member>
bool take(Parameters& parameters, const xercesc::DOMElement& element) {
    std::optional<std::string> text = Xerces_FirstText(element);
    return text && store(parameters.*member, std::move(*text));
}

bool takeGroup(Parameters& parameters, const xercesc::DOMElement& group) {
    return forEachParameter(group, [&](const std::string& name, const xercesc::DOMElement& element) {
        if (name != "groupmember")
            return true;
        std::optional<std::string> text = Xerces_FirstText(element);
        if (text)
            parameters.groupMembers.push_back(std::move(*text));
        return text.has_value();
    });
}

struct Known {
    const char* name;
    bool (*take)(Parameters& parameters, const xercesc::DOMElement& element);
    bool submit;
    bool save;
};
constexpr Known known[] = {
    {"sysuserid", take<&Parameters::user>, true, true},
    {"syspwd", take<&Parameters::password>, true, true},
    {"actionname", take<&Parameters::actionName>, true, true},
    {"actionid", take<&Parameters::actionId>, true, true},
    {"templatename", take<&Parameters::templateName>, false, true},
    {"actionscript", take<&Parameters::script>, true, true},
    {"group", takeGroup, true, false},
};

} // namespace

std::optional<AgentRMI_ActionParameters> AgentRMI_ReadActionParameters(const xercesc::DOMElement& method,
                                                                       AgentRMI_ActionMethod which) {
    const bool submit = which == AgentRMI_ActionMethod::SubmitAction;
    Parameters read;
    const auto takeKnown = [&](const std::string& name, const xercesc::DOMElement& element) {
        const auto* found = std::find_if(std::begin(known), std::end(known), [&](const Known& row) {
            return name == row.name && (submit ? row.submit : row.save);
        });
        return found == std::end(known) || found->take(read, element);
    };
    if (!forEachParameter(method, takeKnown))
        return std::nullopt;
    return read;
}

bool AgentRMI_FitsFileName(const char* name, const std::optional<std::string>& value) {
    constexpr std::string_view misfits("/\0", 2);
    if (value && !value->empty() && value->find_first_of(misfits) == std::string::npos)
        return true;
    DEBUG_LOG("Refusing an action: parameter %s is missing or cannot be part of a file name\n", name);
    return false;
}

void AgentRMI_RequireSystemUser(const AgentRMI_ActionParameters& parameters) {
    const Security_AuthResult result =
        nxValidateSystemUser(parameters.user ? parameters.user->c_str() : nullptr,
                             parameters.password ? parameters.password->c_str() : nullptr);
    if (result.getCode() != AUTH_SUCCESS)
        throw RMI_MethodException(RMI_MethodException::GeneralFailure,
                                  "invalid user or password " + result.getErrorString());
}
