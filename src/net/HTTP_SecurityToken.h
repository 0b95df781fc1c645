#pragma once

#include "base/Secret_Text.h"

#include <memory>
#include <string>

class System_Date;

/// A user name and a password with the time at which they were given. The texts are not held in clear, so
/// that they do not show in a dump of the process by a plain search. Used by one thread at a time.
class HTTP_SecurityToken {
public:
    /// The date is now, the texts are empty.
    HTTP_SecurityToken();
    HTTP_SecurityToken(const HTTP_SecurityToken&) = delete;
    HTTP_SecurityToken& operator=(const HTTP_SecurityToken&) = delete;
    virtual ~HTTP_SecurityToken();

    /// Back to the state after construction.
    void init();
    /// A null argument clears.
    void setUser(const char* user);
    void setPass(const char* password);
    void getUser(std::string& user) const;
    void getPass(std::string& password) const;
    /// When the token was made or last initialised, UTC. Owned by the token.
    System_Date* getExpiration() const;

private:
    std::unique_ptr<System_Date> date_;
    Secret_Text user_;
    Secret_Text password_;
};
