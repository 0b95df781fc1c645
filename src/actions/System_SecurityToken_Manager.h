#pragma once

#include "net/HTTP_SecurityToken.h"
#include "threads/Thread_Mutex.h"
#include "threads/Thread_Pool.h"
#include "threads/Thread_Runnable.h"
#include "threads/Thread_Threadable.h"

#include <map>
#include <memory>
#include <string>

/// A store of short-lived random tokens, each of which stands for a user name and a password and is redeemed
/// once. One background thread throws away what is older than five minutes, every five minutes. Thread-safe.
class System_SecurityToken_Manager : public Thread_Threadable {
public:
    System_SecurityToken_Manager();
    ~System_SecurityToken_Manager() override;

    /// False while it runs.
    bool init();
    bool start() override;
    bool shutdown(bool& stillRunning, unsigned attempt, bool lastAttempt) override;

    /// A text that no token in the store has; it is not in the store until it is added. False if none was
    /// found.
    bool generateSecurityToken(std::string& token);
    /// Null user or password counts as empty. A token that is there already is kept, and the result is true.
    bool addSecurityToken(const std::string& token, const char* user, const char* password);
    /// Puts in a token that has an age already, for instance one that was taken out. False for null.
    bool addSecurityToken(const std::string& token, std::unique_ptr<HTTP_SecurityToken> added);
    /// Takes the token out of the store; null if it is not there.
    std::unique_ptr<HTTP_SecurityToken> getSecuityToken(const std::string& token);

    /// Sweeps until the service is told to stop. For the background thread.
    void performExpire();
    /// Throws away all tokens from before five minutes ago.
    void sweep();

private:
    bool startExpiry();

    std::map<std::string, std::unique_ptr<HTTP_SecurityToken>> tokens_;
    Thread_Mutex tokensMutex_;
    Thread_Pool pool_;
};

/// The sweeping of a store, as work for its thread.
class System_SecurityToken_ExpireRunnable : public Thread_Runnable {
public:
    /// The manager is borrowed and must outlive the run. False for null.
    bool registerManager(System_SecurityToken_Manager* manager);
    void run() override;

private:
    System_SecurityToken_Manager* manager_ = nullptr;
};
