#pragma once

#include "base/Secret_Text.h"
#include "xml/Xerces_Types.h"

#include <optional>
#include <string>
#include <vector>

/// What a SubmitAction or a SaveAction is about. A parameter that the request did not have is absent or
/// empty.
struct AgentRMI_ActionParameters {
    std::optional<std::string> user; ///< the system user as whom the script runs, or whose it is
    std::optional<Secret_Text> password;
    std::optional<std::string> actionName;
    std::optional<std::string> actionId;
    std::optional<std::string> templateName; ///< of SaveAction
    std::string script;
    std::vector<std::string> groupMembers; ///< of SubmitAction: the objects that the script works on
};

enum class AgentRMI_ActionMethod { SubmitAction, SaveAction };

/// Reads the MethodParameter children of `method`. Those that the method does not know are skipped; of two
/// with one name the first counts, but of two scripts the last. Nothing if one that it knows has no text.
std::optional<AgentRMI_ActionParameters> AgentRMI_ReadActionParameters(const xercesc::DOMElement& method,
                                                                       AgentRMI_ActionMethod which);

/// Whether a parameter may become part of a file name: it is there, not empty, and without "/" and zero
/// bytes. A refusal is logged with the parameter's `name`.
bool AgentRMI_FitsFileName(const char* name, const std::optional<std::string>& value);

/// Throws RMI_MethodException with a general failure and the reason if the user's password is wrong or
/// missing.
void AgentRMI_RequireSystemUser(const AgentRMI_ActionParameters& parameters);
