#include "exec/Security_UserAuthenticator.h"

#include "base/Secret_Text.h"
#include "exec/Security_PAMAuthenticator.h"

#include <memory>
#include <mutex>

namespace {

std::mutex instanceMutex;
std::unique_ptr<Security_UserAuthenticator> instance; // guarded by instanceMutex

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
    const Secret_Text secret(password != nullptr ? password : "");
    return Security_UserAuthenticator::Instance(0)->validateSystemUser(user != nullptr ? user : "",
                                                                       secret.asString());
}
