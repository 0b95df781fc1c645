#include "exec/Security_PAMAuthenticator.h"

#include "base/Secret_Text.h"
#include "log/Debug_Printf.h"

#include <security/pam_appl.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <span>
#include <unistd.h>

namespace {

const char* const PAM_SERVICE_NAME = "login";
const char* const PAM_TTY_VALUE = "qdv_agent";

std::mutex pamMutex; // guards the state of the one authentication that can be under way
pam_handle_t* pamHandle = nullptr;
const char* pword_str = nullptr;

/// A PAM transaction from pam_start to pam_end.
class PamTransaction {
public:
    PamTransaction(const std::string& user, const std::string& password) {
        pword_str = password.c_str();
        const pam_conv conversation = {pamConversationFunction, nullptr};
        if (pam_start(PAM_SERVICE_NAME, user.c_str(), &conversation, &pamHandle) != PAM_SUCCESS)
            pamHandle = nullptr;
    }
    PamTransaction(const PamTransaction&) = delete;
    PamTransaction& operator=(const PamTransaction&) = delete;
    ~PamTransaction() {
        if (pamHandle != nullptr)
            pam_end(pamHandle, PAM_SUCCESS);
        pamHandle = nullptr;
        pword_str = nullptr;
    }
};

struct PamMapping {
    int pamResult;
    AuthResultCode code;
    bool textFromPam;
};

constexpr PamMapping accountResults[] = {
    {PAM_PERM_DENIED, AUTH_FAILURE_PERM_DENIED, false},
    {PAM_ACCT_EXPIRED, AUTH_FAILURE_PASSWORD_EXPIRED, false},
};

constexpr PamMapping authenticationResults[] = {
    {PAM_AUTHINFO_UNAVAIL, AUTH_ERROR_AUTHINFO_UNAVAIL, true},
    {PAM_CRED_INSUFFICIENT, AUTH_FAILURE_CREDENTIALS_INSUFFICIENT, true},
    {PAM_USER_UNKNOWN, AUTH_FAILURE, false},
    {PAM_MAXTRIES, AUTH_ERROR_MAXTRIES, true},
};

const PamMapping* findMapping(std::span<const PamMapping> table, int pamResult) {
    for (const PamMapping& entry : table)
        if (entry.pamResult == pamResult)
            return &entry;
    return nullptr;
}

Security_AuthResult accountVerdict(int pamResult) {
    if (pamResult == PAM_SUCCESS)
        return {AUTH_SUCCESS, ""};
    const PamMapping* mapping = findMapping(accountResults, pamResult);
    return Security_AuthResult(mapping != nullptr ? mapping->code : AUTH_FAILURE);
}

Security_AuthResult authenticationRefusal(int pamResult) {
    DEBUG_LOG(" SECURITY: Call to pam_authenticate failed\n");
    const PamMapping* mapping = findMapping(authenticationResults, pamResult);
    if (mapping == nullptr) {
        DEBUG_LOG("SECURITY: PAM Error: %s\n", pam_strerror(pamHandle, pamResult));
        return Security_AuthResult(AUTH_ERROR);
    }
    if (mapping->textFromPam)
        return {mapping->code, pam_strerror(pamHandle, pamResult)};
    return Security_AuthResult(mapping->code);
}

/// Gives back the answers of a conversation that ends early.
void releaseResponses(std::span<pam_response> responses) {
    for (pam_response& response : responses) {
        if (response.resp == nullptr)
            continue;
        explicit_bzero(response.resp, std::strlen(response.resp));
        std::free(response.resp);
    }
    std::free(responses.data());
}

/// False if this message ends the conversation.
bool answerMessage(int style, pam_response& response) {
    switch (style) {
    case PAM_PROMPT_ECHO_OFF:
        response.resp = pword_str != nullptr ? strdup(pword_str) : nullptr;
        return response.resp != nullptr;
    case PAM_ERROR_MSG:
    case PAM_TEXT_INFO:
        return true;
    default:
        return false;
    }
}

} // namespace

Security_AuthResult Security_PAMAuthenticator::validateSystemUser(const std::string& user,
                                                                  const std::string& password) {
    if (geteuid() != 0) {
        DEBUG_LOG("SECURITY:Error: PAM auth must be root.\n");
        return Security_AuthResult(AUTH_FAILURE_CREDENTIALS_INSUFFICIENT);
    }
    return checkPAMAuth(user, password);
}

Security_AuthResult Security_PAMAuthenticator::checkPAMAuth(const std::string& user,
                                                            const std::string& password) {
    const std::unique_lock lock(pamMutex, std::try_to_lock);
    if (!lock) {
        DEBUG_LOG("SECURITY:Error: PAM library already initialized?\n");
        return Security_AuthResult(AUTH_ERROR);
    }

    const Secret_StackWipe stackWipe;
    const PamTransaction transaction(user, password);
    if (pamHandle == nullptr) {
        DEBUG_LOG("SECURITY:Unable to start PAM library.\n");
        return Security_AuthResult(AUTH_ERROR);
    }
    if (pam_set_item(pamHandle, PAM_TTY, PAM_TTY_VALUE) != PAM_SUCCESS)
        DEBUG_LOG("SECURITY:Unable to set PAM_TTY item.\n");

    const int authenticated = pam_authenticate(pamHandle, 0);
    if (authenticated != PAM_SUCCESS)
        return authenticationRefusal(authenticated);
    return accountVerdict(pam_acct_mgmt(pamHandle, 0));
}

int pamConversationFunction(int num_msg, const pam_message** msg, pam_response** resp, void* /*appdata*/) {
    if (num_msg < 0) {
        DEBUG_LOG("SECURITY: negative num msg passed to pamConversationFunction\n");
        return PAM_CONV_ERR;
    }
    if (num_msg > PAM_MAX_NUM_MSG) {
        DEBUG_LOG("SECURITY: too many messages passed to pamConversationFunction\n");
        return PAM_CONV_ERR;
    }

    // One record more than asked for, as PAM wants an array to release even where there is no message.
    const auto count = static_cast<std::size_t>(num_msg);
    auto* records = static_cast<pam_response*>(std::calloc(count + 1, sizeof(pam_response)));
    if (records == nullptr)
        return PAM_CONV_ERR;
    const std::span<pam_response> responses(records, count);
    for (std::size_t i = 0; i < count; ++i) {
        if (!answerMessage(msg[i]->msg_style, responses[i])) {
            releaseResponses(responses);
            return PAM_CONV_ERR;
        }
    }
    *resp = records;
    return PAM_SUCCESS;
}
