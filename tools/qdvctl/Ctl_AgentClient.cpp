#include "qdvctl/Ctl_AgentClient.h"

#include "net/AgentSSL_Factory.h"
#include "net/HTTP_Session.h"
#include "qdvctl/Ctl_Deadline.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Password.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <netdb.h>
#include <sys/socket.h>
#include <utility>

namespace {

constexpr const char* userAgent = "qdvctl";
constexpr const char* methodUri = "/nxCommand";
constexpr std::chrono::seconds connectLimit{10};
using Clock = std::chrono::steady_clock;

void obtainPassword(const Ctl_AgentOptions& options, Ctl_Request& request) {
    if (options.user.empty())
        return;
    if (!options.tls)
        throw Ctl_Failure(Ctl_WrongUsage,
                          "--user needs --tls: the password would cross the network in clear");
    request.userPassword = Ctl_ObtainPassword(options.user, options.passwordDescriptor);
}

std::string within(std::chrono::seconds limit) {
    return " within " + std::to_string(limit.count()) + " s";
}

std::string describeStatus(int status) {
    switch (status) {
    case HTTP_RETURN_INTERNAL_SERVER_ERROR:
        return "the agent cannot make sense of the request (HTTP status 500)";
    case HTTP_RETURN_NOT_FOUND:
        return "what listens there is no agent (HTTP status 404)";
    default:
        return "HTTP status " + std::to_string(status);
    }
}

} // namespace

bool Ctl_Reply::isSuccess() const {
    return response.word("response") == "success";
}

Ctl_AgentClient::Ctl_AgentClient(const Ctl_AgentOptions& options)
    : options_(options), address_(Ctl_ParseAddress(options.agent)) {}

std::string Ctl_AgentClient::name() const {
    return address_.host + ":" + std::to_string(address_.port);
}

Ctl_Reply Ctl_AgentClient::call(Ctl_Request request) const {
    request.uuid = options_.uuid;
    request.hostTarget = options_.hostTarget;
    request.userName = options_.user;
    obtainPassword(options_, request);
    const Secret_Text body = Ctl_BuildRequest(request);

    Ctl_Reply reply;
    const auto start = Clock::now();
    reply.body = post(body.view());
    reply.duration = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
    try {
        reply.response = Ctl_ParseReply(reply.body);
    } catch (const Ctl_Failure& failure) {
        throw Ctl_Failure(failure.status(), name() + ": " + failure.what());
    }
    return reply;
}

std::string Ctl_AgentClient::post(std::string_view body) const {
    const auto session = HTTP_FactoryAllocateSession(userAgent);
    const std::chrono::seconds limit(options_.timeout);
    const auto toConnect = std::min(connectLimit, limit);
    Ctl_Deadline deadline(toConnect, "cannot connect to " + name() + within(toConnect));
    HTTP_Route route;
    route.target = {address_.host, address_.port};
    route.silenceSeconds = options_.timeout;
    route.onConnected = [&] { deadline.restart(limit, name() + ": no answer" + within(limit)); };
    HTTP_File* file = session->getHttpConnection(std::move(route))->getRequest(HTTP_METHOD_POST, methodUri);
    file->registerSSLFactory(&gSSLFactory);
    file->setEncryptionProtocol(options_.tls ? Socket_Socket::ENCRYPTION_SSL
                                             : Socket_Socket::ENCRYPTION_NONE);
    if (!file->sendRequest(HTTP_CONTENT_TYPE_TEXT_XML, "", body.data(), static_cast<int>(body.size()))) {
        if (file->getWasClientResponseReceived())
            throw Ctl_Failure(Ctl_Unanswered, name() + ": the connection ended without a whole reply");
        failWithoutReply();
    }
    if (file->getReturnCode() != HTTP_RETURN_OK)
        throw Ctl_Failure(Ctl_Unanswered, name() + ": " + describeStatus(file->getReturnCode()));
    char* text = nullptr;
    int length = 0;
    if (!file->getEntityBody(text, length))
        throw Ctl_Failure(Ctl_Unanswered, name() + ": the reply is empty");
    return {text, static_cast<std::size_t>(length)};
}

/// The exchange does not tell why it failed. Going the first steps once more does.
void Ctl_AgentClient::failWithoutReply() const {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (const int error = getaddrinfo(address_.host.c_str(), nullptr, &hints, &found); error != 0)
        throw Ctl_Failure(Ctl_Unanswered, "cannot resolve " + address_.host + ": " + gai_strerror(error));
    freeaddrinfo(found);

    const auto socket = Socket_FactoryAllocateSocket();
    if (!socket->create(Socket_Socket::TRANSPORT_TCP, false) ||
        !socket->connect(address_.host.c_str(), address_.port))
        throw Ctl_Failure(Ctl_Unanswered, "cannot connect to " + name() + ": " + std::strerror(errno));
    throw Ctl_Failure(Ctl_Unanswered, name() + (options_.tls ? ": the TLS handshake failed"
                                                             : ": the connection broke before a reply"));
}
