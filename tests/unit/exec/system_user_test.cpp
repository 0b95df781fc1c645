#include "base/Temporary_Directory.h"
#include "exec/Exec_Program.h"
#include "exec/Private_Host.h"
#include "exec/Security_UserAuthenticator.h"
#include "log/Debug_Printf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::Not;

const char* const password = "pA55 'w\\ord\"$";

/// Real users before the host's own PAM service. A refusal takes PAM some seconds.
class SystemUser : public testing::Test {
protected:
    void SetUp() override {
        if (!Private_Host::isRoot())
            GTEST_SKIP() << "needs root, to make users and to ask PAM about them";
        if (access("/etc/pam.d/login", R_OK) != 0)
            GTEST_SKIP() << "needs the PAM service \"login\" (package login)";
        Private_Host::enter();
        directory_ = std::make_unique<Temporary_Directory>();
        ASSERT_EQ(chmod(directory_->path().c_str(), 0777), 0);
    }

    std::string path(const std::string& name) const { return *directory_ / name; }

    /// A script as the actions write it: the user's own, readable by nobody else.
    std::string script(const System_User& user, const std::string& name, const std::string& text) const {
        std::string file = path(name);
        putContents(file, text);
        EXPECT_EQ(chown(file.c_str(), user.uid(), user.gid()), 0);
        EXPECT_EQ(chmod(file.c_str(), 0400), 0);
        return file;
    }

private:
    std::unique_ptr<Temporary_Directory> directory_;
};

std::vector<char*> numbered(std::vector<std::string>& texts, int count) {
    std::vector<char*> arguments;
    arguments.reserve(texts.size() + static_cast<std::size_t>(count));
    for (int i = 1; i <= count; ++i)
        texts.push_back(std::to_string(i));
    for (std::string& text : texts)
        arguments.push_back(text.data());
    return arguments;
}

TEST_F(SystemUser, RunsWithTheRightPasswordOnly) {
    const System_User user(password);
    const System_User withoutShell(password, "-s /usr/sbin/nologin");
    const System_User expired(password, "-e 2001-01-01");
    ASSERT_TRUE(gDebugPrintf.logfile_open(path("log").c_str()));
    gDebugPrintf.setEnabled(true);

    const std::string file =
        script(user, "who.sh",
               "id -un >&2; id -gn >&2; { env; cat /proc/$$/cmdline; } | grep -a pA55 >&2;"
               "exit 2");
    const Exec_ExecResult right = nxExecScriptAsUser(file.c_str(), 0, nullptr, user.name(), password);
    EXPECT_EQ(right.getErrorString(),
              "Child exited with code: 2 " + std::string(user.name()) + "\n" + user.name() + "\n");
    EXPECT_EQ(nxValidateSystemUser(withoutShell.name(), password).getCode(), AUTH_SUCCESS);

    const std::string touched = path("touched");
    std::string argument = touched;
    char* const arguments[] = {argument.data()};
    const Exec_ExecResult wrong = nxExecProgramAsUser("/usr/bin/touch", 1, arguments, user.name(), "pA55");
    EXPECT_EQ(wrong.getCode(), EXEC_ERROR);
    EXPECT_EQ(wrong.getErrorString(), "Authorization error");
    EXPECT_NE(nxExecProgramAsUser("/usr/bin/touch", 1, arguments, expired.name(), password).getCode(),
              EXEC_SUCCESS);
    EXPECT_NE(access(touched.c_str(), F_OK), 0);
    EXPECT_EQ(nxExecProgramAsUser("/usr/bin/touch", 1, arguments, user.name(), password).getCode(),
              EXEC_SUCCESS);
    EXPECT_EQ(access(touched.c_str(), F_OK), 0);

    gDebugPrintf.logfile_close();
    const std::string log = contentsOf(path("log"));
    EXPECT_THAT(log, HasSubstr(" SECURITY: Call to pam_authenticate failed\n"));
    EXPECT_THAT(log, Not(HasSubstr("pA55")));
}

TEST_F(SystemUser, NumbersOfArguments) {
    const System_User user(password);
    const std::string file = script(user, "count.sh", "echo $# $* >&2; exit 1");
    const std::string expected = "Child exited with code: 1 ";
    const std::string tooMany = "Too many arguments to exec'd program";

    std::vector<std::string> texts = {"-c", "echo $# $* >&2; exit 1"};
    const std::vector<char*> program = numbered(texts, 11);
    EXPECT_EQ(nxExecProgramAsUser("/bin/sh", 12, program.data(), user.name(), password).getErrorString(),
              expected + "9 2 3 4 5 6 7 8 9 10\n");
    EXPECT_EQ(nxExecProgramAsUser("/bin/sh", 13, program.data(), user.name(), password).getErrorString(),
              tooMany);

    std::vector<std::string> words;
    const std::vector<char*> arguments = numbered(words, 13);
    const auto run = [&](int count) {
        return nxExecScriptAsUser(file.c_str(), count, arguments.data(), user.name(), password)
            .getErrorString();
    };
    EXPECT_EQ(run(11), expected + "11 1 2 3 4 5 6 7 8 9 10 11\n");
    EXPECT_EQ(run(12), tooMany);
    EXPECT_EQ(run(13), tooMany);
}

TEST(ScriptAsUser, OtherSuffixesAreRefusedBeforeThePasswordIsLookedAt) {
    for (const char* name : {"/tmp/script.ksh", "/tmp/script", "sh", ""}) {
        const Exec_ExecResult result = nxExecScriptAsUser(name, 0, nullptr, "nosuchuser", "x");
        EXPECT_EQ(result.getCode(), EXEC_ERROR);
        EXPECT_EQ(result.getErrorString(), "Unsupported script suffix type");
    }
}

} // namespace
