#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

/// An entry of the host's user database.
struct User_Account {
    std::string name;
    uid_t uid = 0;
    gid_t gid = 0; ///< the primary group
};

/// Both ask the database anew each time and are thread-safe. None if there is no such user, with the cause in
/// `errno`, 0 if there is no cause but that.
std::optional<User_Account> User_FindByName(const char* name);
std::optional<User_Account> User_FindById(uid_t uid);

/// The name of the user with this number; without such a user the lower 16 bits of the number, in decimal.
std::string User_NameOrNumber(uid_t uid);
