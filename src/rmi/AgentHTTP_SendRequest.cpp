#include "rmi/AgentHTTP_SendRequest.h"

#include "base/String_Functions.h"
#include "config/AgentConfig_Configuration.h"
#include "config/AgentConfig_Globals.h"
#include "config/Config_File.h"
#include "net/AgentSSL_Factory.h"
#include "net/HTTP_AddressPortPair.h"
#include "net/HTTP_Session.h"
#include "rmi/RMI_MethodException.h"
#include "threads/MutexLock.h"

#include <climits>
#include <memory>

std::atomic<bool> gCallServerWithSSL{true};

namespace {

constexpr const char* userAgent = "Norvalith Brindlex Agent";
/// Part of the interface of a form post, and not sent.
constexpr const char* fieldName = "CommandBody";

/// Where one call goes and how it leaves.
struct Route {
    Route() = default;
    Route(const Route&) = delete;
    Route& operator=(const Route&) = delete;
    ~Route() { nxWipeText(password); }

    HTTP_AddressPortPair target;
    std::string uri;
    std::string username;
    std::string password;
    std::string returnAddress;
    int returnPortMin = 0;
    int returnPortMax = 0;
};

void planRoute(const AgentConfig_Configuration& configuration, bool ssl, Route& route) {
    const std::string& host = configuration.getServerHostname();
    const unsigned port = ssl ? configuration.getServerSSLPort() : configuration.getServerPort();
    route.uri = configuration.getServerURI();
    if (!configuration.getProxyHostname().empty() && configuration.getProxyPort() != 0) {
        route.target.setAddress(configuration.getProxyHostname());
        route.target.setPort(static_cast<int>(configuration.getProxyPort()));
        // Over TLS too: no tunnel is made.
        route.uri = "http://" + host + ":" + std::to_string(port) + route.uri;
    } else {
        route.target.setAddress(host);
        route.target.setPort(static_cast<int>(port));
    }
    route.username = configuration.getUsername();
    route.password = configuration.getPassword();
    route.returnAddress = configuration.getReturnAddress();
    route.returnPortMin = static_cast<int>(configuration.getReturnPortMin());
    route.returnPortMax = static_cast<int>(configuration.getReturnPortMax());
}

void copyRoute(bool ssl, Route& route) {
    try {
        const MutexLock lock(&gMutexAgentConfig);
        planRoute(*gAgentConfig->getConfig(), ssl, route);
    } catch (...) {
        throw RMI_MethodException(RMI_MethodException::GeneralFailure);
    }
}

bool post(const Route& route, bool ssl, bool verifyPeer, const char* body, int length, std::string& reply) {
    const std::unique_ptr<HTTP_Session> session = HTTP_FactoryAllocateSession(userAgent);
    HTTP_Connection* connection =
        session->getHttpConnection(route.returnAddress.c_str(), route.returnPortMin, route.returnPortMax,
                                   route.target, route.username.c_str(), route.password.c_str());
    HTTP_File* file =
        connection == nullptr ? nullptr : connection->getRequest(HTTP_METHOD_POST, route.uri.c_str());
    if (file == nullptr)
        return false;
    file->registerSSLFactory(&gSSLFactory);
    file->setEncryptionProtocol(ssl ? Socket_Socket::ENCRYPTION_SSL : Socket_Socket::ENCRYPTION_NONE);
    file->setEncryptionProtocolVerifyPeer(verifyPeer);
    if (!file->sendRequest(HTTP_CONTENT_TYPE_FORM_URLENCODED, fieldName, body, length) ||
        file->getReturnCode() != HTTP_RETURN_OK)
        return false;
    char* text = nullptr;
    int textLength = 0;
    if (file->getEntityBody(text, textLength))
        reply.assign(text, static_cast<std::size_t>(textLength));
    return true;
}

} // namespace

bool AgentHTTP_SendRequest(const char* body, std::size_t length, std::string& reply, bool verifyPeer,
                           bool sslPreferred) {
    if (length > INT_MAX)
        return false;
    const bool ssl = sslPreferred || gCallServerWithSSL;
    Route route;
    copyRoute(ssl, route);
    try {
        return post(route, ssl, verifyPeer, body, static_cast<int>(length), reply);
    } catch (...) {
        return false;
    }
}

bool AgentHTTP_SendRequest(const std::string& body, std::string& reply, bool verifyPeer, bool sslPreferred) {
    return AgentHTTP_SendRequest(body.data(), body.size(), reply, verifyPeer, sslPreferred);
}
