#include "rmi/AgentHTTP_SendRequest.h"

#include "config/AgentConfig_Configuration.h"
#include "config/AgentConfig_Globals.h"
#include "config/Config_File.h"
#include "net/AgentSSL_Factory.h"
#include "net/HTTP_Session.h"
#include "rmi/RMI_MethodException.h"
#include "threads/MutexLock.h"

#include <climits>
#include <memory>
#include <utility>

std::atomic<bool> gCallServerWithSSL{true};

namespace {

constexpr const char* userAgent = "Norvalith Brindlex Agent";
/// Part of the interface of a form post, and not sent.
constexpr const char* fieldName = "CommandBody";
/// What the server says takes a few hundred bytes, but nothing proves that it is the server.
constexpr std::size_t largestReply = std::size_t{16} << 20;

HTTP_Route currentRoute(bool ssl) {
    try {
        const MutexLock lock(&gMutexAgentConfig);
        HTTP_Route route = gAgentConfig->getConfig()->getRoute(ssl);
        route.largestBody = largestReply;
        return route;
    } catch (...) {
        throw RMI_MethodException(RMI_MethodException::GeneralFailure);
    }
}

bool post(HTTP_Route route, bool ssl, bool verifyPeer, const char* body, int length, std::string& reply) {
    const std::unique_ptr<HTTP_Session> session = HTTP_FactoryAllocateSession(userAgent);
    const std::string uri = route.uri;
    HTTP_File* file = session->getHttpConnection(std::move(route))->getRequest(HTTP_METHOD_POST, uri.c_str());
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
    HTTP_Route route = currentRoute(ssl);
    try {
        return post(std::move(route), ssl, verifyPeer, body, static_cast<int>(length), reply);
    } catch (...) {
        return false;
    }
}

bool AgentHTTP_SendRequest(const std::string& body, std::string& reply, bool verifyPeer, bool sslPreferred) {
    return AgentHTTP_SendRequest(body.data(), body.size(), reply, verifyPeer, sslPreferred);
}
