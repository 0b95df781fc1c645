#pragma once

#include <map>
#include <string>
#include <sys/types.h>

/// Names of users, each asked for once: the user database may be a server far away. For one thread at a time.
class System_OwnerNames {
public:
    /// The number itself for a user without a name. Valid as long as this object.
    const std::string& of(uid_t user);

private:
    std::map<uid_t, std::string> names_;
};
