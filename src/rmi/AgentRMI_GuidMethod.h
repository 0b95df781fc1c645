#pragma once

#include "rmi/RMI_Method.h"

enum class AgentRMI_Identity { NotNeeded, Required };
enum class AgentRMI_Protocols { PlainAndSSL, SSLOnly };
enum class AgentRMI_UserAuthentication { No, Yes };

/// What holds for every call of one method. The texts live as long as the program.
struct AgentRMI_MethodRules {
    const char* name;
    AgentRMI_Identity identity;
    AgentRMI_Protocols protocols;
    AgentRMI_UserAuthentication userAuthentication;
};

/// A method under the rules of its row in the method table, whose identity is judged against uuid.conf.
class AgentRMI_GuidMethod : public RMI_Method {
public:
    AgentRMI_GuidMethod(const AgentRMI_MethodRules& rules, const char* guid);

    bool checkForValidGuid() override;
    /// Refuses a missing identity or one that is not this agent's, where the method requires it. An agent
    /// that has none yet adopts the request's and writes uuid.conf at once, under gMutexGuidConfig, so that
    /// of several first requests one decides; if the file cannot be written the request is refused. One for
    /// which there is no room is not adopted, and refused only where the method requires it; there is always
    /// room for the agent's own.
    bool validateGuid(xercesc::DOMElement* response) override;
    bool validateUser(xercesc::DOMElement* response) override;
    bool validateEncryptionProtocol(Socket_Socket::EncryptionProtocol protocol) override;

private:
    const AgentRMI_MethodRules rules_;
};
