// A PAM module whose answers are its arguments:
//   auth=N, acct=N   the result of authentication and of account management
//   ask=N            a message of that style; several are put in one conversation
//   expect=WORD      what must come back for each question without echo
//   tty=WORD         what the terminal must be
//   hold=FIFO        authentication waits until somebody has opened the pipe for writing and closed it again
#include <security/pam_appl.h>
#include <security/pam_modules.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

std::vector<std::string> valuesOf(const std::string& name, int argc, const char** argv) {
    std::vector<std::string> values;
    for (int i = 0; i < argc; ++i)
        if (std::string(argv[i]).starts_with(name + "="))
            values.push_back(std::string(argv[i]).substr(name.size() + 1));
    return values;
}

bool answersAreRight(const std::vector<pam_message>& messages, const pam_response* answers,
                     const std::string& expected) {
    for (std::size_t i = 0; i < messages.size(); ++i) {
        const char* answer = answers[i].resp;
        const bool asked = messages[i].msg_style == PAM_PROMPT_ECHO_OFF;
        if (answers[i].resp_retcode != 0 || asked != (answer != nullptr) || (asked && expected != answer))
            return false;
    }
    return true;
}

int converse(pam_handle_t* handle, const std::vector<std::string>& styles, const std::string& expected) {
    std::vector<pam_message> messages;
    messages.reserve(styles.size());
    for (const std::string& style : styles)
        messages.push_back({std::stoi(style), "?"});
    std::vector<const pam_message*> pointers;
    pointers.reserve(messages.size());
    for (const pam_message& message : messages)
        pointers.push_back(&message);

    const void* item = nullptr;
    pam_get_item(handle, PAM_CONV, &item);
    const auto* conversation = static_cast<const pam_conv*>(item);
    pam_response* answers = nullptr;
    const int result = conversation->conv(static_cast<int>(messages.size()), pointers.data(), &answers,
                                          conversation->appdata_ptr);
    if (result != PAM_SUCCESS)
        return result;
    const bool right = answersAreRight(messages, answers, expected);
    for (std::size_t i = 0; i < messages.size(); ++i)
        std::free(answers[i].resp);
    std::free(answers);
    return right ? PAM_SUCCESS : PAM_MAXTRIES;
}

bool terminalIsRight(pam_handle_t* handle, const std::vector<std::string>& wanted) {
    const void* item = nullptr;
    pam_get_item(handle, PAM_TTY, &item);
    return wanted.empty() || (item != nullptr && wanted.front() == static_cast<const char*>(item));
}

} // namespace

extern "C" int pam_sm_authenticate(pam_handle_t* handle, int /*flags*/, int argc, const char** argv) {
    for (const std::string& fifo : valuesOf("hold", argc, argv)) {
        std::ifstream file(fifo);
        const std::string ignored(std::istreambuf_iterator<char>(file), {});
    }
    if (!terminalIsRight(handle, valuesOf("tty", argc, argv)))
        return PAM_SYSTEM_ERR;
    const std::vector<std::string> questions = valuesOf("ask", argc, argv);
    if (!questions.empty())
        if (const int result = converse(handle, questions, valuesOf("expect", argc, argv).at(0)); result != 0)
            return result;
    const std::vector<std::string> result = valuesOf("auth", argc, argv);
    return result.empty() ? PAM_SUCCESS : std::stoi(result.front());
}

extern "C" int pam_sm_setcred(pam_handle_t* /*handle*/, int /*flags*/, int /*argc*/, const char** /*argv*/) {
    return PAM_SUCCESS;
}

extern "C" int pam_sm_acct_mgmt(pam_handle_t* /*handle*/, int /*flags*/, int argc, const char** argv) {
    const std::vector<std::string> result = valuesOf("acct", argc, argv);
    return result.empty() ? PAM_SUCCESS : std::stoi(result.front());
}
