#include "exec/Exec_Program.h"

#include "base/String_Functions.h"
#include "base/User_Account.h"
#include "exec/Exec_Steps.h"
#include "exec/Security_UserAuthenticator.h"

#include <optional>
#include <string_view>
#include <vector>

namespace {

const char* const shell = "/bin/sh";
constexpr std::string_view scriptSuffix = ".sh";

Exec_ExecResult tooManyArguments() {
    return {EXEC_ERROR, "Too many arguments to exec'd program"};
}

} // namespace

Exec_ExecResult nxExecProgramAsUser(const char* program, int argc, char* const* argv, const char* user,
                                    const char* password) {
    if (argc > Exec_MaximumArguments)
        return tooManyArguments();
    const Security_AuthResult authentication = nxValidateSystemUser(user, password);
    if (authentication.getCode() != AUTH_SUCCESS)
        return {EXEC_ERROR, authentication.getErrorString()};
    const std::optional<User_Account> account = User_FindByName(user);
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
