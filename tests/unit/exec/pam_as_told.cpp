// A PAM module whose answers are its arguments:
//   auth=N, acct=N   the result of authentication and of account management
//   ask=N            a message of that style; several are put in one conversation
//   expect=WORD      what must come back for each question without echo
//   tty=WORD         what the terminal must be
//   hold=FIFO        authentication waits until somebody has opened the pipe for writing and closed it again
#include <security/pam_appl.h>
#include <security/pam_modules.h>

#include <cstdlib>
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

int resultOf(const std::string& name, int argc, const char** argv) {
    const std::vector<std::string> told = valuesOf(name, argc, argv);
    return told.empty() ? PAM_SUCCESS : std::stoi(told.front());
}

template <class Item>
const Item* itemOf(pam_handle_t* handle, int type) {
    const void* item = nullptr;
    pam_get_item(handle, type, &item);
    return static_cast<const Item*>(item);
}

/// PAM_MAXTRIES if something else comes back than is expected.
int converse(pam_handle_t* handle, const std::vector<std::string>& styles, const std::string& expected) {
    std::vector<pam_message> messages(styles.size());
    std::vector<const pam_message*> pointers(styles.size());
    for (std::size_t i = 0; i < styles.size(); ++i) {
        messages[i] = {std::stoi(styles[i]), "?"};
        pointers[i] = &messages[i];
    }
    const auto* conversation = itemOf<pam_conv>(handle, PAM_CONV);
    pam_response* answers = nullptr;
    int result = conversation->conv(static_cast<int>(messages.size()), pointers.data(), &answers,
                                    conversation->appdata_ptr);
    if (result != PAM_SUCCESS)
        return result;
    for (std::size_t i = 0; i < messages.size(); ++i) {
        const char* const wanted = messages[i].msg_style == PAM_PROMPT_ECHO_OFF ? expected.c_str() : nullptr;
        const char* const answer = answers[i].resp;
        if (answers[i].resp_retcode != 0 || (wanted == nullptr) != (answer == nullptr) ||
            (wanted != nullptr && std::string(wanted) != answer))
            result = PAM_MAXTRIES;
        std::free(answers[i].resp);
    }
    std::free(answers);
    return result;
}

} // namespace

extern "C" int pam_sm_authenticate(pam_handle_t* handle, int /*flags*/, int argc, const char** argv) {
    for (const std::string& fifo : valuesOf("hold", argc, argv)) {
        std::ifstream file(fifo);
        const std::string ignored(std::istreambuf_iterator<char>(file), {});
    }
    for (const std::string& tty : valuesOf("tty", argc, argv))
        if (tty != itemOf<char>(handle, PAM_TTY))
            return PAM_SYSTEM_ERR;
    const std::vector<std::string> questions = valuesOf("ask", argc, argv);
    if (!questions.empty())
        if (const int result = converse(handle, questions, valuesOf("expect", argc, argv).at(0)); result != 0)
            return result;
    return resultOf("auth", argc, argv);
}

extern "C" int pam_sm_setcred(pam_handle_t* /*handle*/, int /*flags*/, int /*argc*/, const char** /*argv*/) {
    return PAM_SUCCESS;
}

extern "C" int pam_sm_acct_mgmt(pam_handle_t* /*handle*/, int /*flags*/, int argc, const char** argv) {
    return resultOf("acct", argc, argv);
}
