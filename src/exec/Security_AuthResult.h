#pragma once

#include <string>

enum AuthResultCode {
    AUTH_SUCCESS = 0,
    AUTH_FAILURE = 1,
    AUTH_ERROR = 2,
    AUTH_FAILURE_CREDENTIALS_INSUFFICIENT = 3,
    AUTH_FAILURE_PASSWORD_EXPIRED = 4,
    AUTH_FAILURE_PERM_DENIED = 5,
    AUTH_ERROR_AUTHINFO_UNAVAIL = 6,
    AUTH_ERROR_MAXTRIES = 7
};

/// What became of the check of a user's password: a code and a text for people. Any code other than
/// AUTH_SUCCESS is a refusal. A plain value.
class Security_AuthResult {
public:
    static const std::string AUTH_SUCCESS_STRING;
    static const std::string AUTH_FAILURE_STRING;
    static const std::string AUTH_ERROR_STRING;
    static const std::string AUTH_FAILURE_CREDENTIALS_INSUFFICIENT_STRING;
    static const std::string AUTH_FAILURE_PASSWORD_EXPIRED_STRING;
    static const std::string AUTH_FAILURE_PERM_DENIED_STRING;
    static const std::string AUTH_ERROR_AUTHINFO_UNAVAIL_STRING;
    static const std::string AUTH_ERROR_MAXTRIES_STRING;

    /// A refusal: AUTH_FAILURE with its text.
    Security_AuthResult();
    explicit Security_AuthResult(AuthResultCode code);
    Security_AuthResult(AuthResultCode code, std::string errorString);
    Security_AuthResult(const Security_AuthResult&) = default;
    Security_AuthResult(Security_AuthResult&&) = default;
    Security_AuthResult& operator=(const Security_AuthResult&) = default;
    Security_AuthResult& operator=(Security_AuthResult&&) = default;
    virtual ~Security_AuthResult() = default;

    AuthResultCode getCode() const { return code_; }
    const std::string& getErrorString() const { return errorString_; }

    /// The text of a code; for a number that is no code, a text that says so.
    static std::string resultCodeToString(int code);

private:
    AuthResultCode code_;
    std::string errorString_;
};
