#include "actions/System_SecurityToken_Manager.h"

#include "date/System_Date.h"
#include "log/Debug_Printf.h"
#include "threads/MutexLock.h"
#include "threads/Thread_Service.h"

#include <optional>
#include <sys/random.h>

namespace {

constexpr unsigned lifeMinutes = 5;
constexpr unsigned sweepMilliseconds = 300000;
constexpr unsigned maximumAttempts = 100;

constexpr const char* logName = "System_SecurityToken_Manager";
constexpr Thread_ServiceTexts logTexts{
    .attemptingStartup = ": start: attempting startup",
    .currentlyRunning = ": start: failed: currently running",
    .startupFailed = ": start: exit failed",
    .startupSuccessful = ": start: successful",
    .attemptingShutdown = "::shutdown",
    .notRunning = "::shutdown: failed not running",
    .stillRunningAtLast = "::shutdown: threads still running on last attempt to shutdown",
    .stillRunning = "::shutdown: threads still running",
    .shutdownSuccessful = "::shutdown: successful",
};

/// The decimal text of a number that nobody can foresee.
std::optional<std::string> randomText() {
    unsigned number = 0;
    if (getrandom(&number, sizeof number, 0) != static_cast<ssize_t>(sizeof number))
        return std::nullopt;
    return std::to_string(number);
}

} // namespace

bool System_SecurityToken_ExpireRunnable::registerManager(System_SecurityToken_Manager* manager) {
    manager_ = manager;
    return manager != nullptr;
}

void System_SecurityToken_ExpireRunnable::run() {
    if (manager_ != nullptr)
        manager_->performExpire();
}

System_SecurityToken_Manager::System_SecurityToken_Manager() = default;

/// The sweeping thread may not outlast the store: its wait is woken first.
System_SecurityToken_Manager::~System_SecurityToken_Manager() {
    bool stillRunning = false;
    System_SecurityToken_Manager::shutdown(stillRunning, 0, true);
}

bool System_SecurityToken_Manager::init() {
    const MutexLock lock(mutex());
    if (checkForErrorBeforeStart(false, false))
        return false;
    if (pool_.init(1, 0, 0))
        return true;
    DEBUG_LOG("System_SecurityToken_Manager::init: failed security token expire pool init\n");
    return false;
}

bool System_SecurityToken_Manager::start() {
    return Thread_StartService(*this, logName, logTexts, [this] { return startExpiry(); });
}

bool System_SecurityToken_Manager::startExpiry() {
    if (!pool_.start()) {
        DEBUG_LOG("System_SecurityToken_Manager: start: failed expire pool start\n");
        return false;
    }
    auto expire = std::make_unique<System_SecurityToken_ExpireRunnable>();
    return expire->registerManager(this) && pool_.handleRunnable(std::move(expire), false);
}

bool System_SecurityToken_Manager::shutdown(bool& stillRunning, unsigned attempt, bool lastAttempt) {
    return Thread_ShutDownService(*this, logName, logTexts, {&pool_}, stillRunning, attempt, lastAttempt);
}

bool System_SecurityToken_Manager::generateSecurityToken(std::string& token) {
    token.clear();
    const MutexLock lock(tokensMutex_.get());
    for (unsigned attempt = 0; attempt < maximumAttempts; ++attempt) {
        const std::optional<std::string> text = randomText();
        if (!text)
            return false;
        if (tokens_.count(*text) == 0) {
            token = *text;
            return true;
        }
        DEBUG_LOG("System_SecurityToken_Manager::generateSecurityToken: duplicate token found: %s\n",
                  text->c_str());
    }
    return false;
}

bool System_SecurityToken_Manager::addSecurityToken(const std::string& token, const char* user,
                                                    const char* password) {
    auto added = std::make_unique<HTTP_SecurityToken>();
    added->setUser(user);
    added->setPass(password);
    return addSecurityToken(token, std::move(added));
}

bool System_SecurityToken_Manager::addSecurityToken(const std::string& token,
                                                    std::unique_ptr<HTTP_SecurityToken> added) {
    if (!added)
        return false;
    const MutexLock lock(tokensMutex_.get());
    tokens_.emplace(token, std::move(added));
    return true;
}

std::unique_ptr<HTTP_SecurityToken> System_SecurityToken_Manager::getSecuityToken(const std::string& token) {
    DEBUG_LOG("System_SecurityToken_Manager::getSecurityToken\n");
    const MutexLock lock(tokensMutex_.get());
    const auto found = tokens_.find(token);
    if (found == tokens_.end())
        return nullptr;
    std::unique_ptr<HTTP_SecurityToken> taken = std::move(found->second);
    tokens_.erase(found);
    return taken;
}

void System_SecurityToken_Manager::performExpire() {
    while (!checkForExitWhileRunning(true, true)) {
        sweep();
        waitForSemaphore(sweepMilliseconds);
    }
}

void System_SecurityToken_Manager::sweep() {
    const std::unique_ptr<System_Date> oldest = System_FactoryAllocateDate();
    oldest->setToCurrentTime();
    oldest->subtractMinutes(lifeMinutes);
    const MutexLock lock(tokensMutex_.get());
    std::erase_if(tokens_, [&oldest](const auto& entry) {
        if (!(*entry.second->getExpiration() < *oldest))
            return false;
        DEBUG_LOG("System_SecurityToken_Manager::performExpire: deleting security token\n");
        return true;
    });
}
