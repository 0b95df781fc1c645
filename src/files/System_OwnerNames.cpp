#include "files/System_OwnerNames.h"

#include "base/User_Account.h"

const std::string& System_OwnerNames::of(uid_t user) {
    const auto [entry, isNew] = names_.try_emplace(user);
    if (isNew)
        entry->second = User_NameOrNumber(user);
    return entry->second;
}
