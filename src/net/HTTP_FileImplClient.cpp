#include "net/HTTP_FileImplClient.h"

#include "log/Debug_Printf.h"
#include "net/HTTP_HeaderAuthenticate.h"
#include "net/HTTP_HeaderAuthorization.h"
#include "net/HTTP_SessionImpl.h"
#include "net/HTTP_Stop.h"
#include "net/HTTP_Text.h"
#include "net/HTTP_URLEncoding.h"
#include "net/Socket_Address.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <random>
#include <utility>

namespace {

constexpr std::string_view requestVersion = "HTTP/1.0";
constexpr std::string_view headLineEnd = "\r\n";

/// More than the first line and the headers of most requests take.
constexpr std::size_t requestHeadSize = 1024;

/// Eight hexadecimal digits that no peer can foresee, so that none can choose the text that is hashed.
std::string makeCnonce() {
    std::random_device source;
    std::array<char, 9> text{};
    std::snprintf(text.data(), text.size(), "%08x", static_cast<std::uint32_t>(source()));
    return text.data();
}

/// "auth" if the list of a challenge has it or if there is no list, empty for none at all, and otherwise the
/// list itself, which no answer can be made for.
std::string chooseQop(const HTTP_HeaderAuthenticateBase& challenge) {
    const std::string& options = challenge.getQop().empty() ? challenge.getQopOptions() : challenge.getQop();
    std::string_view rest = options;
    while (!rest.empty()) {
        const std::size_t length = std::min(rest.find(','), rest.size());
        std::string_view option = HTTP_SkipBlanks(rest.substr(0, length));
        option = option.substr(0, option.find(' '));
        if (HTTP_EqualsIgnoringCase(option, "auth"))
            return "auth";
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    return options;
}

/// A first Basic challenge is taken, a Digest challenge replaces it and ends the search. Takes it out of the
/// headers; null if there is none that can be answered.
template <typename Header>
std::unique_ptr<HTTP_HeaderAuthenticateBase> chooseChallenge(HTTP_HeaderMap& headers) {
    std::unique_ptr<HTTP_Header>* chosen = nullptr;
    const auto [first, end] = headers.equal_range(std::string(Header::Name));
    for (auto entry = first; entry != end; ++entry) {
        const auto& challenge = static_cast<const Header&>(*entry->second);
        if (challenge.getScheme() == AUTHENTICATION_DIGEST && challenge.getAlgorithm() != DIGEST_NONE) {
            chosen = &entry->second;
            break;
        }
        if (challenge.getScheme() == AUTHENTICATION_BASIC && chosen == nullptr)
            chosen = &entry->second;
    }
    return std::unique_ptr<HTTP_HeaderAuthenticateBase>(
        chosen == nullptr ? nullptr : static_cast<Header*>(chosen->release()));
}

/// For the log, which must hold no password in any form: that of Basic can be read, and that of Digest be
/// guessed at.
std::string withoutCredentials(std::string_view request) {
    constexpr std::string_view name = "uthorization: ";
    const std::size_t found = request.find(name);
    if (found >= request.find("\r\n\r\n"))
        return std::string(request);
    const std::size_t begin = found + name.size();
    return std::string(request.substr(0, begin))
        .append("(not logged)")
        .append(request.substr(request.find(headLineEnd, begin)));
}

} // namespace

HTTP_Return_Code HTTP_FileImplClient::getReturnCode() const {
    return responseReceived_ ? returnCode_ : HTTP_FileImpl::getReturnCode();
}

bool HTTP_FileImplClient::sendRequest(HTTP_Content_Type contentType, const char* /*name*/, const char* body,
                                      int length) {
    responseReceived_ = false;
    clearMessage();
    const std::string_view text = body != nullptr && length > 0
                                      ? std::string_view(body, static_cast<std::size_t>(length))
                                      : std::string_view();
    DEBUG_LOG("\nrequest body to send:\n%.*s\n", static_cast<int>(text.size()), text.data());
    Secret_Text request;
    if (!createRequest(request, contentType, text, nullptr))
        return false;
    DEBUG_LOG("\nrequest to send:\n%s\n", request.c_str());
    if (!exchange(request.view(), true))
        return false;
    DEBUG_LOG("\nreply to sent request:\n%s\n", body_.c_str());
    if (returnCode_ != HTTP_RETURN_UNAUTHORIZED && returnCode_ != HTTP_RETURN_PROXY_AUTHORIZATION)
        return true;

    const Secret_StackWipe stackWipe;
    const auto challenge = takeChallenge();
    if (challenge == nullptr)
        return false;
    clearMessage();
    DEBUG_LOG("\nauthorization request body to send:\n%.*s\n", static_cast<int>(text.size()), text.data());
    request.clear();
    if (!createRequest(request, contentType, text, challenge.get()))
        return false;
    DEBUG_LOG("\nauthorization request to send:\n%s\n", withoutCredentials(request.view()).c_str());
    if (!exchange(request.view(), false))
        return false;
    DEBUG_LOG("\nreply to sent authorization request:\n%s\n", body_.c_str());
    return true;
}

std::unique_ptr<HTTP_HeaderAuthenticateBase> HTTP_FileImplClient::takeChallenge() {
    return returnCode_ == HTTP_RETURN_UNAUTHORIZED ? chooseChallenge<HTTP_HeaderWWWAuthenticate>(headers_)
                                                   : chooseChallenge<HTTP_HeaderProxyAuthenticate>(headers_);
}

bool HTTP_FileImplClient::createRequest(Secret_Text& out, HTTP_Content_Type contentType,
                                        std::string_view body,
                                        const HTTP_HeaderAuthenticateBase* challenge) const {
    const auto methodText = HTTP_MethodText(method_);
    const auto typeText = HTTP_ContentTypeText(contentType);
    if (!methodText || !typeText)
        return false;
    std::string encoded;
    if (contentType == HTTP_CONTENT_TYPE_FORM_URLENCODED) {
        encoded = encodeURLEncoding(body);
        body = encoded;
    }
    std::string head;
    head.append(*methodText).append(" ").append(uri_).append(" ").append(requestVersion).append(headLineEnd);
    HTTP_HeaderUserAgent userAgent;
    userAgent.setUserAgent(connection_.getSession().getUserAgent());
    if (!userAgent.serialize(&head))
        return false;
    out.reserve(body.size() + requestHeadSize);
    out.append(head);
    if (challenge != nullptr && !authorize(out, *challenge))
        return false;
    head = "Content-Type: ";
    head.append(*typeText).append("\r\nContent-Length: ").append(std::to_string(body.size()));
    head.append("\r\nConnection: Keep-Alive\r\n\r\n");
    out.append(head);
    out.append(body);
    return true;
}

/// Appends the header that answers `challenge`, by the status that brought it.
bool HTTP_FileImplClient::authorize(Secret_Text& out, const HTTP_HeaderAuthenticateBase& challenge) const {
    const auto answer = [&](HTTP_HeaderAuthorizationBase&& header) {
        const HTTP_Route& route = connection_.getRoute();
        header.setScheme(challenge.getScheme());
        header.setRealm(challenge.getRealm());
        header.setNonce(challenge.getNonce());
        header.setOpaque(challenge.getOpaque());
        header.setAlgorithm(challenge.getAlgorithm());
        header.setQop(chooseQop(challenge));
        header.setUsername(route.username);
        header.setPassword(route.password.asString());
        header.setMethod(method_);
        header.setUri(uri_);
        header.setCnonce(makeCnonce());
        header.setNonceCount(1);
        std::string line;
        const bool made = header.serialize(&line);
        out.append(Secret_Text::take(std::move(line)).view());
        return made;
    };
    switch (returnCode_) {
    case HTTP_RETURN_UNAUTHORIZED:
        return answer(HTTP_HeaderAuthorization());
    case HTTP_RETURN_PROXY_AUTHORIZATION:
        return answer(HTTP_HeaderProxyAuthorization());
    default:
        return false;
    }
}

/// One TCP connection: the request goes out, the reply comes in, the connection closes. A reply that does not
/// tell its length ends with the connection, if it is to be read at all.
bool HTTP_FileImplClient::exchange(std::string_view request, bool readBodyWithoutLength) {
    bool done = false;
    if (socket_.create(Socket_Socket::TRANSPORT_TCP, false)) {
        const HTTP_CallUnderWay underWay(socket_);
        done = connect() && writeAll(request) && readReply(readBodyWithoutLength);
    }
    socket_.close();
    return done;
}

bool HTTP_FileImplClient::readReply(bool readBodyWithoutLength) {
    responseReceived_ = true;
    const unsigned limit = connection_.getRoute().silenceSeconds;
    const std::size_t largest = connection_.getRoute().largestBody;
    HTTP_HeadReader reader(socket_, limit, headShare_);
    if (!readFirstLine(reader) || !HTTP_ParseStatusLine(reader.line().view(), version_, returnCode_) ||
        !reader.readHeaders(headers_))
        return false;
    // A peer that says there is no body may keep the connection open, so nothing is waited for then.
    if (const auto* length = HTTP_LastHeader<HTTP_HeaderContentLength>(headers_))
        return HTTP_ReadBody(socket_, length->getContentLength(), limit, body_, bodyShare_, largest);
    return !readBodyWithoutLength || HTTP_ReadBodyToEnd(socket_, limit, body_, bodyShare_, largest);
}

bool HTTP_FileImplClient::connect() {
    const HTTP_AddressPortPair& target = connection_.getRoute().target;
    const char* address = target.address().c_str();
    const auto targetPort = static_cast<unsigned>(target.getPort());
    DEBUG_LOG("HTTP_FileImpl::connect: attempting to connect %s:%u\n", address, targetPort);
    unsigned localPort = 0;
    if (target.address().empty() || !HTTP_IsPort(target.getPort()) || !bindLocalEnd(localPort))
        return false;
    DEBUG_LOG("HTTP_FileImpl::connect: attempting to connect %s:%u\n", address, targetPort);
    if (socket_.connect(address, static_cast<unsigned short>(targetPort))) {
        DEBUG_LOG("HTTP_FileImpl::connect: sucessfully connected %s:%u\n", address, targetPort);
        if (connection_.getRoute().onConnected)
            connection_.getRoute().onConnected();
        return true;
    }
    DEBUG_LOG("HTTP_FileImpl::connect: failed to connect %s:%u (%u)\n", address, targetPort, localPort);
    return false;
}

/// Binds the local end where a firewall expects the connection to come from. `port` is the last port tried.
bool HTTP_FileImplClient::bindLocalEnd(unsigned& port) {
    const HTTP_Route& route = connection_.getRoute();
    const HTTP_LocalEnd& local = route.localEnd;
    if (local.lowestPort == 0)
        return local.address.empty() || socket_.bind(local.address.c_str(), 0);
    const auto address = Socket_ResolveAddress(local.address.c_str());
    const unsigned highest = std::min<unsigned>(local.highestPort, HTTP_HighestPort);
    for (unsigned candidate = local.lowestPort; candidate <= highest; ++candidate) {
        port = candidate;
        if (address && socket_.bind(*address, static_cast<unsigned short>(candidate)))
            return true;
        DEBUG_LOG("HTTP_FileImpl::connect: failed to connect [return port] %s:%u (%u)\n",
                  route.target.address().c_str(), static_cast<unsigned>(route.target.getPort()), port);
        if (!address)
            break;
    }
    return false;
}
