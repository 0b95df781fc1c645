#include "exec/Security_UserAuthenticator.h"

#include "exec/Security_PAMAuthenticator.h"

#include <cstring>
#include <memory>
#include <mutex>

namespace {

std::mutex instanceMutex;
std::unique_ptr<Security_UserAuthenticator> instance; // guarded by instanceMutex

/// A text that leaves nothing of itself in memory.
struct WipedText {
    explicit WipedText(const char* source) : text(source != nullptr ? source : "") {}
    WipedText(const WipedText&) = delete;
    WipedText& operator=(const WipedText&) = delete;
    ~WipedText() { explicit_bzero(text.data(), text.size()); }

    std::string text;
};

} // namespace

Security_UserAuthenticator* Security_UserAuthenticator::Instance(int /*auth_scheme*/) {
    const std::lock_guard lock(instanceMutex);
    if (!instance)
        instance = std::make_unique<Security_PAMAuthenticator>();
    return instance.get();
}

void Security_UserAuthenticator::Destroy() {
    const std::lock_guard lock(instanceMutex);
    instance.reset();
}

Security_AuthResult nxValidateSystemUser(const char* user, const char* password) {
    const WipedText secret(password);
    return Security_UserAuthenticator::Instance(0)->validateSystemUser(user != nullptr ? user : "",
                                                                       secret.text);
}
