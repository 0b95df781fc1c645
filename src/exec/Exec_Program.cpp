#include "exec/Exec_Program.h"

#include "base/String_Functions.h"
#include "exec/Exec_Steps.h"
#include "exec/Security_UserAuthenticator.h"

#include <cerrno>
#include <optional>
#include <pwd.h>
#include <string_view>
#include <vector>

namespace {

const char* const shell = "/bin/sh";
constexpr std::string_view scriptSuffix = ".sh";

/// For one entry of the user database; it begins small and doubles while the entry does not fit.
constexpr std::size_t firstEntryBuffer = 1024;
constexpr std::size_t largestEntryBuffer = std::size_t{1} << 20;

Exec_ExecResult tooManyArguments() {
    return {EXEC_ERROR, "Too many arguments to exec'd program"};
}

/// None if there is no such user, with the cause in `errno`, 0 if there is no cause but that.
std::optional<Exec_Account> findAccount(const char* user) {
    int failure = ERANGE;
    for (std::size_t size = firstEntryBuffer; failure == ERANGE && size <= largestEntryBuffer; size *= 2) {
        std::vector<char> buffer(size);
        passwd entry{};
        passwd* found = nullptr;
        failure = getpwnam_r(user, &entry, buffer.data(), buffer.size(), &found);
        if (found != nullptr)
            return Exec_Account{user, entry.pw_uid, entry.pw_gid};
    }
    errno = failure;
    return std::nullopt;
}

} // namespace

Exec_ExecResult nxExecProgramAsUser(const char* program, int argc, char* const* argv, const char* user,
                                    const char* password) {
    if (argc > Exec_MaximumArguments)
        return tooManyArguments();
    const Security_AuthResult authentication = nxValidateSystemUser(user, password);
    if (authentication.getCode() != AUTH_SUCCESS)
        return {EXEC_ERROR, authentication.getErrorString()};
    const std::optional<Exec_Account> account = findAccount(user);
    if (!account)
        return {EXEC_ERROR, "Unable to find user in passwd file " + nxGetLastErrorMessage()};

    Exec_ArgumentVector arguments;
    prepare_exec_arguments(program, argc, argv, arguments);
    return Exec_RunAs(*account, arguments, Exec_MaximumRunTime);
}

Exec_ExecResult nxExecScriptAsUser(const char* program, int argc, char* const* argv, const char* user,
                                   const char* password) {
    if (argc > Exec_MaximumArguments)
        return tooManyArguments();
    if (!std::string_view(program).ends_with(scriptSuffix))
        return {EXEC_ERROR, "Unsupported script suffix type"};

    std::vector<char*> arguments{const_cast<char*>(program)}; // NOLINT: nothing changes it
    arguments.insert(arguments.end(), argv, argv + (argc > 0 ? argc : 0));
    return nxExecProgramAsUser(shell, argc + 1, arguments.data(), user, password);
}
