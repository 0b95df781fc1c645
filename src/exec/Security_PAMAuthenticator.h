#pragma once

#include "exec/Security_UserAuthenticator.h"

struct pam_message;
struct pam_response;

/// Checks users through PAM, as the service "login" on the terminal "qdv_agent" (pam(3)).
class Security_PAMAuthenticator : public Security_UserAuthenticator {
public:
    Security_AuthResult validateSystemUser(const std::string& user, const std::string& password) override;

    /// The check itself, without the look at who the agent runs as. Wrong password: AUTH_ERROR. Success has
    /// an empty text. PAM modules may take their time over a refusal, commonly about three seconds.
    Security_AuthResult checkPAMAuth(const std::string& user, const std::string& password);
};

/// Answers PAM's questions (pam_conv(3)): the password where it must not be echoed, nothing to messages. A
/// question to be echoed, and one that comes while no authentication is under way, ends the conversation.
/// PAM releases the answers.
int pamConversationFunction(int num_msg, const pam_message** msg, pam_response** resp, void* appdata);
