#include "base/Temporary_Directory.h"
#include "exec/Private_Host.h"
#include "exec/Security_PAMAuthenticator.h"
#include "exec/Security_UserAuthenticator.h"

#include <gtest/gtest.h>
#include <security/pam_appl.h>

#include <array>
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
    static void SetUpTestSuite() { Private_Host::enter(); }
    void SetUp() override {
        if (!Private_Host::enter())
            GTEST_SKIP() << "needs root and the right to mount, for a PAM service of its own";
        service_ = contentsOf("/etc/pam.d/login");
    }
    void TearDown() override {
        if (!service_.empty())
            Private_Host::setLoginService(service_);
    }

    static Security_AuthResult authenticate(const std::string& arguments) {
        const std::string module = QDV_PAM_MODULE " " + arguments + "\n";
        Private_Host::setLoginService("auth required " + module + "account required " + module);
        return nxValidateSystemUser("root", "se cret");
    }

private:
    std::string service_;
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

TEST_F(PamStack, ManyAtOnceAreEachServedOrRefused) {
    authenticate("");
    std::array<std::future<int>, 4> served;
    for (auto& each : served)
        each = std::async(std::launch::async, [] {
            int successes = 0;
            for (int i = 0; i < 6; ++i) {
                const Security_AuthResult result = nxValidateSystemUser("root", "se cret");
                EXPECT_TRUE(result.getCode() == AUTH_SUCCESS || result.getCode() == AUTH_ERROR);
                successes += result.getCode() == AUTH_SUCCESS ? 1 : 0;
            }
            return successes;
        });
    int successes = 0;
    for (auto& each : served)
        successes += each.get();
    EXPECT_GT(successes, 0);
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

TEST_F(PamStack, ExpiredAccountWithTheRightPassword) {
    Private_Host::setLoginService("auth required pam_unix.so nodelay\naccount required pam_unix.so\n");
    const System_User valid("se cret");
    const System_User expired("se cret", "-e 2001-01-01");
    EXPECT_EQ(nxValidateSystemUser(valid.name(), "se cret").getCode(), AUTH_SUCCESS);
    EXPECT_EQ(nxValidateSystemUser(valid.name(), "").getCode(), AUTH_ERROR);
    EXPECT_EQ(nxValidateSystemUser(expired.name(), "se cret").getCode(), AUTH_FAILURE_PASSWORD_EXPIRED);
    EXPECT_EQ(nxValidateSystemUser("no such user", "se cret").getCode(), AUTH_FAILURE);
    EXPECT_EQ(nxValidateSystemUser("", "").getCode(), AUTH_FAILURE);
    EXPECT_EQ(nxValidateSystemUser(nullptr, nullptr).getCode(), AUTH_FAILURE);
}

TEST(PamConversation, RefusesCountsThatAreNone) {
    const pam_message text = {PAM_TEXT_INFO, "hello"};
    const pam_message question = {PAM_PROMPT_ECHO_OFF, "?"};
    std::vector<const pam_message*> messages(PAM_MAX_NUM_MSG + 1, &text);
    pam_response* answers = nullptr;
    EXPECT_EQ(pamConversationFunction(-1, messages.data(), &answers, nullptr), PAM_CONV_ERR);
    EXPECT_EQ(pamConversationFunction(PAM_MAX_NUM_MSG + 1, messages.data(), &answers, nullptr), PAM_CONV_ERR);
    EXPECT_EQ(answers, nullptr);
    for (const int count : {0, PAM_MAX_NUM_MSG}) {
        EXPECT_EQ(pamConversationFunction(count, messages.data(), &answers, nullptr), PAM_SUCCESS);
        ASSERT_NE(answers, nullptr);
        std::free(answers);
        answers = nullptr;
    }
    // No authentication is under way, so there is no password to be had.
    messages[0] = &question;
    EXPECT_EQ(pamConversationFunction(1, messages.data(), &answers, nullptr), PAM_CONV_ERR);
}

TEST(SecurityAuthResult, TextsOfCodes) {
    EXPECT_EQ(Security_AuthResult().getCode(), AUTH_FAILURE);
    EXPECT_EQ(Security_AuthResult().getErrorString(), "Authorization failed");
    EXPECT_EQ(Security_AuthResult::resultCodeToString(0), "Authorization successful");
    EXPECT_EQ(Security_AuthResult::resultCodeToString(7),
              "Authorization error: authentication has reached max tries");
    for (const int code : {-1, 8})
        EXPECT_EQ(Security_AuthResult::resultCodeToString(code),
                  "Somebody used an error code that needs to be added to "
                  "Security_AuthResult::resultCodeToString for a security authorization result.");
}

} // namespace
