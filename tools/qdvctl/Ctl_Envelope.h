#pragma once

#include "base/Secret_Text.h"
#include "qdvctl/Ctl_Node.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The documents of a remote method call, both as the agent's caller and as the server that it calls. Text
/// from outside is hostile; a text that is not what it should be throws Ctl_Failure with one line that says
/// why. The XML layer must be up.

struct Ctl_Request {
    std::string method;
    std::string uuid;
    std::string hostTarget;
    std::string userName;
    Secret_Text userPassword;
    std::optional<Secret_Text> systemPassword; ///< of the user as whom an action runs, a parameter
    std::vector<std::pair<std::string, std::string>> methodAttributes; ///< of Method, besides its name
    std::vector<Ctl_Node> parameters;                                  ///< below Method
};

/// Without identity, host and user.
Ctl_Request Ctl_RequestFor(std::string method, std::vector<Ctl_Node> parameters = {});

/// A parameter from a command line: "Name=Text" is an element Name with that text.
Ctl_Node Ctl_ParseParameter(const std::string& argument);
/// The parameters in a text of one or more elements, with or without an XML declaration. `source` names it in
/// messages.
std::vector<Ctl_Node> Ctl_ParseParameters(std::string_view text, const std::string& source);

/// Attributes that are empty are left out.
Secret_Text Ctl_BuildRequest(const Ctl_Request& request);
/// The Response element of an agent's reply.
Ctl_Node Ctl_ParseReply(std::string_view body);

/// A call of the agent, as the body of its POST, with or without the form field in front. Attributes that are
/// absent are empty.
Ctl_Request Ctl_ParseCall(std::string_view body);
/// The answer "success" to a call, with an element below Response if the call asks for one.
std::string Ctl_BuildReply(const std::string& method, const std::optional<Ctl_Node>& result);
