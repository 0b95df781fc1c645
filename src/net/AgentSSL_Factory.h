#pragma once

#include "base/Secret_Text.h"
#include "net/Socket_Socket.h"

#include <string>

/// TLS with anonymous key exchange: traffic is encrypted, and neither side proves who it is. Who the caller
/// is, is a matter of the layer above. TLS 1.2 is the last version that has anonymous suites and the only one
/// offered.
///
/// One context for each role is made once and shared by all sockets of the process, which is also what lets a
/// client resume its session. Between AgentSSL_LayerInit and AgentSSL_LayerCleanup both operations are
/// thread-safe; outside of it they fail. The paths are kept for the configuration and nothing is read from
/// them.
class AgentSSL_Factory : public Socket_SSLFactory {
public:
    AgentSSL_Factory() = default;
    AgentSSL_Factory(std::string certPath, std::string certPassword, std::string keyPath,
                     std::string keyPassword, std::string caFilePath, std::string caFilePassword);

    void* createSSLContext(ConnectionRole role) override;
    void* createSSL(void* context) override;

    const std::string& getCertPath() const { return certPath_; }
    void setCertPath(const std::string& path) { certPath_ = path; }
    const std::string& getCertPassword() const { return certPassword_.asString(); }
    void setCertPassword(const std::string& password) { certPassword_.assign(password); }
    const std::string& getKeyPath() const { return keyPath_; }
    void setKeyPath(const std::string& path) { keyPath_ = path; }
    const std::string& getKeyPassword() const { return keyPassword_.asString(); }
    void setKeyPassword(const std::string& password) { keyPassword_.assign(password); }
    const std::string& getCAFilePath() const { return caFilePath_; }
    void setCAFilePath(const std::string& path) { caFilePath_ = path; }
    const std::string& getCAFilePassword() const { return caFilePassword_.asString(); }
    void setCAFilePassword(const std::string& password) { caFilePassword_.assign(password); }

private:
    std::string certPath_;
    Secret_Text certPassword_;
    std::string keyPath_;
    Secret_Text keyPassword_;
    std::string caFilePath_;
    Secret_Text caFilePassword_;
};

/// The factory of the process.
extern AgentSSL_Factory gSSLFactory;

/// Brings the TLS library up and makes the key parameters and the contexts. False, with a log line, on
/// failure.
bool AgentSSL_LayerInit();
/// Gives up the parameters and contexts; connections that still live keep what they use.
void AgentSSL_LayerCleanup();
