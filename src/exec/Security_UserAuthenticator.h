#pragma once

#include "exec/Security_AuthResult.h"

#include <string>

/// Asks the system whether a user's password is right. There is one object for the whole process.
class Security_UserAuthenticator {
public:
    Security_UserAuthenticator() = default;
    Security_UserAuthenticator(const Security_UserAuthenticator&) = delete;
    Security_UserAuthenticator& operator=(const Security_UserAuthenticator&) = delete;

    /// Needs root. Any number of threads may call this, but those that arrive while another one is being
    /// served are refused with AUTH_ERROR and do not wait. The password is neither kept nor logged.
    virtual Security_AuthResult validateSystemUser(const std::string& user, const std::string& password) = 0;

    virtual ~Security_UserAuthenticator() = default;

    /// The one object, made on first use. There is one implementation, so the scheme selects nothing.
    static Security_UserAuthenticator* Instance(int auth_scheme);
    /// Deletes the object. The caller sees to it that no thread still uses it; a later Instance() makes
    /// another one.
    static void Destroy();
};

/// The entry point for all who need a user checked. A null argument counts as an empty text; an empty
/// password is asked about like any other.
Security_AuthResult nxValidateSystemUser(const char* user, const char* password);
