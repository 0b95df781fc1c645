#include "base/User_Account.h"

#include <cerrno>
#include <cstddef>
#include <pwd.h>
#include <vector>

namespace {

/// For the texts of one entry; the buffer doubles while the entry does not fit.
constexpr std::size_t FirstBuffer = 1024;
constexpr std::size_t MaximumBuffer = std::size_t(1) << 20;

/// `ask(record, buffer, size, result)` is one of the database's re-entrant functions.
template <class Ask>
std::optional<User_Account> find(Ask ask) {
    int error = ERANGE;
    for (std::size_t size = FirstBuffer; error == ERANGE && size <= MaximumBuffer; size *= 2) {
        std::vector<char> buffer(size);
        passwd record{};
        passwd* found = nullptr;
        error = ask(&record, buffer.data(), buffer.size(), &found);
        if (found != nullptr)
            return User_Account{record.pw_name, record.pw_uid, record.pw_gid};
    }
    errno = error;
    return std::nullopt;
}

} // namespace

std::optional<User_Account> User_FindByName(const char* name) {
    return find([name](passwd* record, char* buffer, std::size_t size, passwd** found) {
        return getpwnam_r(name, record, buffer, size, found);
    });
}

std::optional<User_Account> User_FindById(uid_t uid) {
    return find([uid](passwd* record, char* buffer, std::size_t size, passwd** found) {
        return getpwuid_r(uid, record, buffer, size, found);
    });
}

std::string User_NameOrNumber(uid_t uid) {
    if (const auto account = User_FindById(uid))
        return account->name;
    return std::to_string(static_cast<unsigned short>(uid));
}
