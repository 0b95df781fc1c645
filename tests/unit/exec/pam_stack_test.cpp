#include "base/Temporary_Directory.h"
#include "exec/Exec_Program.h"
#include "exec/Private_Host.h"
#include "exec/Security_PAMAuthenticator.h"
#include "exec/Security_UserAuthenticator.h"

#include <gtest/gtest.h>
#include <security/pam_appl.h>

#include <cstdlib>
#include <fcntl.h>
#include <future>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

/// Authentication against a stack that consists of the told module alone.
class PamStack : public testing::Test {
protected:
    void SetUp() override {
        if (!Private_Host::enter())
            GTEST_SKIP() << "needs root and the right to mount, for a PAM service of its own";
    }

    static Security_AuthResult authenticate(const std::string& arguments) {
        const std::string module = QDV_PAM_MODULE " " + arguments + "\n";
        Private_Host::setLoginService("auth required " + module + "account required " + module);
        return nxValidateSystemUser("root", "se cret");
    }
};

std::string number(int value) {
    return std::to_string(value);
}

TEST_F(PamStack, EachAnswerOfPamHasItsCodeAndText) {
    struct Case {
        std::string arguments;
        AuthResultCode code;
        std::string text;
    };
    const auto pamText = [](int result) { return std::string(pam_strerror(nullptr, result)); };
    const std::vector<Case> cases = {
        {"", AUTH_SUCCESS, ""},
        {"acct=" + number(PAM_PERM_DENIED), AUTH_FAILURE_PERM_DENIED,
         "Authorization failure: permission denied"},
        {"acct=" + number(PAM_ACCT_EXPIRED), AUTH_FAILURE_PASSWORD_EXPIRED,
         "Authorization failure: password expired"},
        {"acct=" + number(PAM_NEW_AUTHTOK_REQD), AUTH_FAILURE, "Authorization failed"},
        {"acct=" + number(PAM_USER_UNKNOWN), AUTH_FAILURE, "Authorization failed"},
        {"auth=" + number(PAM_AUTHINFO_UNAVAIL), AUTH_ERROR_AUTHINFO_UNAVAIL, pamText(PAM_AUTHINFO_UNAVAIL)},
        {"auth=" + number(PAM_CRED_INSUFFICIENT), AUTH_FAILURE_CREDENTIALS_INSUFFICIENT,
         pamText(PAM_CRED_INSUFFICIENT)},
        {"auth=" + number(PAM_USER_UNKNOWN), AUTH_FAILURE, "Authorization failed"},
        {"auth=" + number(PAM_MAXTRIES), AUTH_ERROR_MAXTRIES, pamText(PAM_MAXTRIES)},
        {"auth=" + number(PAM_AUTH_ERR), AUTH_ERROR, "Authorization error"},
        {"auth=" + number(PAM_ACCT_EXPIRED), AUTH_ERROR, "Authorization error"},
    };
    for (const Case& each : cases) {
        const Security_AuthResult result = authenticate(each.arguments);
        EXPECT_EQ(result.getCode(), each.code) << each.arguments;
        EXPECT_EQ(result.getErrorString(), each.text) << each.arguments;
    }
}

TEST_F(PamStack, QuestionsAndMessagesOfAModule) {
    const std::string secret = number(PAM_PROMPT_ECHO_OFF);
    const std::string expected = " [expect=se cret] tty=qdv_agent";
    EXPECT_EQ(authenticate("ask=" + secret + expected).getCode(), AUTH_SUCCESS);
    EXPECT_EQ(authenticate("ask=" + number(PAM_TEXT_INFO) + " ask=" + number(PAM_ERROR_MSG) +
                           " ask=" + secret + " ask=" + secret + expected)
                  .getCode(),
              AUTH_SUCCESS);
    EXPECT_EQ(authenticate("ask=" + secret + " expect=other").getCode(), AUTH_ERROR_MAXTRIES);
    // The answer to the first question is given back when the second one ends the conversation.
    EXPECT_EQ(authenticate("ask=" + secret + " ask=" + number(PAM_PROMPT_ECHO_ON) + expected).getCode(),
              AUTH_ERROR);
    EXPECT_EQ(authenticate("ask=99" + expected).getCode(), AUTH_ERROR);
}

TEST_F(PamStack, OfTwoAtTheSameMomentOneIsRefusedAndDoesNotWait) {
    const Temporary_Directory directory;
    const std::string fifo = directory / "hold";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);

    auto first = std::async(std::launch::async,
                            [&] { return authenticate("hold=" + fifo + " ask=1 [expect=se cret]"); });
    const int writer = open(fifo.c_str(), O_WRONLY | O_CLOEXEC); // returns once the module has arrived
    const Security_AuthResult second = nxValidateSystemUser("root", "other");
    EXPECT_EQ(second.getCode(), AUTH_ERROR);
    EXPECT_EQ(second.getErrorString(), "Authorization error");
    close(writer);
    EXPECT_EQ(first.get().getCode(), AUTH_SUCCESS);
    EXPECT_EQ(authenticate("").getCode(), AUTH_SUCCESS);
}

TEST_F(PamStack, OnlyRootMayAsk) {
    authenticate("");
    // Without the C library, which would make all threads follow.
    std::thread([] {
        ASSERT_EQ(syscall(SYS_setresuid, -1, 65534, -1), 0);
        const Security_AuthResult result = nxValidateSystemUser("root", "se cret");
        EXPECT_EQ(result.getCode(), AUTH_FAILURE_CREDENTIALS_INSUFFICIENT);
        EXPECT_EQ(result.getErrorString(), "Authorization Failure: Credentials insufficient to authenticate");
    }).join();
}

TEST_F(PamStack, NumbersOfArgumentsOfAProgramAndOfAScript) {
    authenticate("");
    const Temporary_Directory directory;
    const std::string file = directory / "count.sh";
    putContents(file, "echo $# >&2; exit 1");
    std::vector<std::string> texts = {"-c", "echo $# >&2; exit 1", "sh"};
    texts.resize(13, "x");
    std::vector<char*> arguments;
    arguments.reserve(texts.size());
    for (std::string& text : texts)
        arguments.push_back(text.data());
    const struct {
        decltype(&nxExecProgramAsUser) run;
        const char* program;
        int count;
        const char* text;
    } cases[] = {
        {nxExecProgramAsUser, "/bin/sh", 12, "Child exited with code: 1 9\n"},
        {nxExecProgramAsUser, "/bin/sh", 13, "Too many arguments to exec'd program"},
        {nxExecScriptAsUser, file.c_str(), 11, "Child exited with code: 1 11\n"},
        {nxExecScriptAsUser, file.c_str(), 12, "Too many arguments to exec'd program"},
        {nxExecScriptAsUser, file.c_str(), 13, "Too many arguments to exec'd program"},
        {nxExecScriptAsUser, "/tmp/script.ksh", 0, "Unsupported script suffix type"},
        {nxExecScriptAsUser, "sh", 0, "Unsupported script suffix type"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.run(c.program, c.count, arguments.data(), "root", "se cret").getErrorString(), c.text);
}

TEST(PamConversation, RefusesCountsThatAreNoneAndQuestionsOutsideOfAnAuthentication) {
    const pam_message question = {PAM_PROMPT_ECHO_OFF, "?"};
    std::vector<const pam_message*> messages(PAM_MAX_NUM_MSG + 1, &question);
    pam_response* answers = nullptr;
    for (const int count : {-1, 1, PAM_MAX_NUM_MSG + 1})
        EXPECT_EQ(pamConversationFunction(count, messages.data(), &answers, nullptr), PAM_CONV_ERR) << count;
    EXPECT_EQ(pamConversationFunction(0, messages.data(), &answers, nullptr), PAM_SUCCESS);
    ASSERT_NE(answers, nullptr);
    std::free(answers);
}

} // namespace
