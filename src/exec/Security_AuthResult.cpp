#include "exec/Security_AuthResult.h"

#include <array>
#include <cstddef>
#include <utility>

const std::string Security_AuthResult::AUTH_SUCCESS_STRING = "Authorization successful";
const std::string Security_AuthResult::AUTH_FAILURE_STRING = "Authorization failed";
const std::string Security_AuthResult::AUTH_ERROR_STRING = "Authorization error";
const std::string Security_AuthResult::AUTH_FAILURE_CREDENTIALS_INSUFFICIENT_STRING =
    "Authorization Failure: Credentials insufficient to authenticate";
const std::string Security_AuthResult::AUTH_FAILURE_PASSWORD_EXPIRED_STRING =
    "Authorization failure: password expired";
const std::string Security_AuthResult::AUTH_FAILURE_PERM_DENIED_STRING =
    "Authorization failure: permission denied";
const std::string Security_AuthResult::AUTH_ERROR_AUTHINFO_UNAVAIL_STRING =
    "Authorization error: authentication info is unavailable";
const std::string Security_AuthResult::AUTH_ERROR_MAXTRIES_STRING =
    "Authorization error: authentication has reached max tries";

Security_AuthResult::Security_AuthResult() : Security_AuthResult(AUTH_FAILURE) {}

Security_AuthResult::Security_AuthResult(AuthResultCode code)
    : Security_AuthResult(code, resultCodeToString(code)) {}

Security_AuthResult::Security_AuthResult(AuthResultCode code, std::string errorString)
    : code_(code), errorString_(std::move(errorString)) {}

std::string Security_AuthResult::resultCodeToString(int code) {
    static const std::array<const std::string*, AUTH_ERROR_MAXTRIES + 1> texts = {
        &AUTH_SUCCESS_STRING,
        &AUTH_FAILURE_STRING,
        &AUTH_ERROR_STRING,
        &AUTH_FAILURE_CREDENTIALS_INSUFFICIENT_STRING,
        &AUTH_FAILURE_PASSWORD_EXPIRED_STRING,
        &AUTH_FAILURE_PERM_DENIED_STRING,
        &AUTH_ERROR_AUTHINFO_UNAVAIL_STRING,
        &AUTH_ERROR_MAXTRIES_STRING,
    };
    if (code >= 0 && static_cast<std::size_t>(code) < texts.size())
        return *texts[static_cast<std::size_t>(code)];
    return "Somebody used an error code that needs to be added to "
           "Security_AuthResult::resultCodeToString for a security authorization result.";
}
