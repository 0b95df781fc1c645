// The client operations of HTTP_FileImpl: one exchange over a connection of its own, with one more attempt if
// authentication is asked for.

#include "log/Debug_Printf.h"
#include "net/HTTP_FileImpl.h"
#include "net/HTTP_HeaderAuthenticate.h"
#include "net/HTTP_HeaderAuthorization.h"
#include "net/HTTP_SessionImpl.h"
#include "net/HTTP_Text.h"
#include "net/HTTP_URLEncoding.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>

namespace {

constexpr std::string_view requestVersion = "HTTP/1.0";
constexpr std::string_view lineEnd = "\r\n";

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

/// A first Basic challenge is taken, a Digest challenge replaces it and ends the search.
template <typename Header>
std::unique_ptr<HTTP_HeaderAuthenticateBase> chooseChallenge(const HTTP_HeaderMap& headers) {
    const Header* chosen = nullptr;
    const auto [first, end] = headers.equal_range(std::string(Header::Name));
    for (auto entry = first; entry != end; ++entry) {
        const auto* challenge = static_cast<const Header*>(entry->second.get());
        if (challenge->getScheme() == AUTHENTICATION_DIGEST && challenge->getAlgorithm() != DIGEST_NONE) {
            chosen = challenge;
            break;
        }
        if (challenge->getScheme() == AUTHENTICATION_BASIC && chosen == nullptr)
            chosen = challenge;
    }
    if (chosen == nullptr)
        return nullptr;
    return std::make_unique<Header>(*chosen);
}

/// For the log, which must hold no password in any form.
std::string withoutBasicCredentials(std::string request) {
    constexpr std::string_view scheme = "uthorization: Basic ";
    const std::size_t found = request.find(scheme);
    if (found < request.find("\r\n\r\n")) {
        const std::size_t begin = found + scheme.size();
        request.replace(begin, request.find(lineEnd, begin) - begin, "(not logged)");
    }
    return request;
}

constexpr int largestPort = std::numeric_limits<unsigned short>::max();

bool isPort(int port) {
    return port > 0 && port <= largestPort;
}

} // namespace

HTTP_FileImpl::HTTP_FileImpl(const HTTP_ConnectionImpl& connection, HTTP_Method method, std::string_view uri)
    : method_(method), uri_(uri), version_(requestVersion), connection_(&connection) {}

bool HTTP_FileImpl::sendRequest(HTTP_Content_Type contentType, const char* /*name*/, const char* body,
                                int length) {
    clientResponseReceived_ = false;
    serverRequestMade_ = false;
    serverRequestSimple_ = false;
    clearMessage();
    const std::string_view text = body != nullptr && length > 0
                                      ? std::string_view(body, static_cast<std::size_t>(length))
                                      : std::string_view();
    if (connection_ == nullptr)
        return false;
    DEBUG_LOG("\nrequest body to send:\n%.*s\n", static_cast<int>(text.size()), text.data());
    std::string request;
    if (!createRequest(request, contentType, text, nullptr))
        return false;
    DEBUG_LOG("\nrequest to send:\n%s\n", request.c_str());
    if (!exchange(request, true))
        return false;
    DEBUG_LOG("\nreply to sent request:\n%s\n", body_.c_str());
    if (returnCode_ != HTTP_RETURN_UNAUTHORIZED && returnCode_ != HTTP_RETURN_PROXY_AUTHORIZATION)
        return true;

    const auto challenge = takeChallenge();
    if (challenge == nullptr)
        return false;
    clearMessage();
    DEBUG_LOG("\nauthorization request body to send:\n%.*s\n", static_cast<int>(text.size()), text.data());
    request.clear();
    if (!createRequest(request, contentType, text, challenge.get()))
        return false;
    DEBUG_LOG("\nauthorization request to send:\n%s\n", withoutBasicCredentials(request).c_str());
    if (!exchange(request, false))
        return false;
    DEBUG_LOG("\nreply to sent authorization request:\n%s\n", body_.c_str());
    return true;
}

std::unique_ptr<HTTP_HeaderAuthenticateBase> HTTP_FileImpl::takeChallenge() {
    return returnCode_ == HTTP_RETURN_UNAUTHORIZED ? chooseChallenge<HTTP_HeaderWWWAuthenticate>(headers_)
                                                   : chooseChallenge<HTTP_HeaderProxyAuthenticate>(headers_);
}

bool HTTP_FileImpl::createRequest(std::string& out, HTTP_Content_Type contentType, std::string_view body,
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
    out.append(*methodText).append(" ").append(uri_).append(" ").append(requestVersion).append(lineEnd);
    HTTP_HeaderUserAgent userAgent;
    userAgent.setUserAgent(connection_->getSession().getUserAgent());
    if (!userAgent.serialize(&out) || (challenge != nullptr && !authorize(out, *challenge)))
        return false;
    out.append("Content-Type: ").append(*typeText).append(lineEnd);
    out.append("Content-Length: ").append(std::to_string(body.size())).append(lineEnd);
    out.append("Connection: Keep-Alive\r\n\r\n");
    out.append(body);
    return true;
}

/// Appends the header that answers `challenge`, by the status that brought it.
bool HTTP_FileImpl::authorize(std::string& out, const HTTP_HeaderAuthenticateBase& challenge) const {
    const auto answer = [&](HTTP_HeaderAuthorizationBase&& header) {
        header.setScheme(challenge.getScheme());
        header.setRealm(challenge.getRealm());
        header.setNonce(challenge.getNonce());
        header.setOpaque(challenge.getOpaque());
        header.setAlgorithm(challenge.getAlgorithm());
        header.setQop(chooseQop(challenge));
        header.setUsername(connection_->getUsername());
        header.setPassword(connection_->getPassword());
        header.setMethod(method_);
        header.setUri(uri_);
        header.setCnonce(makeCnonce());
        header.setNonceCount(1);
        return header.serialize(&out);
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
bool HTTP_FileImpl::exchange(const std::string& request, bool readBodyWithoutLength) {
    const bool done = connect() && writeAll(request) && readReply(readBodyWithoutLength);
    socket_.close();
    return done;
}

bool HTTP_FileImpl::readReply(bool readBodyWithoutLength) {
    clientResponseReceived_ = true;
    HTTP_HeadReader reader(socket_, readTimeLimit());
    if (!parseStatusLine(reader) || !parseHeaders(reader))
        return false;
    // A peer that says there is no body may keep the connection open, so nothing is waited for then.
    if (HTTP_LastHeader<HTTP_HeaderContentLength>(headers_) != nullptr)
        return HTTP_ReadBody(socket_, contentLength_, readTimeLimit(), body_);
    return !readBodyWithoutLength || HTTP_ReadBodyToEnd(socket_, readTimeLimit(), body_);
}

bool HTTP_FileImpl::parseStatusLine(HTTP_HeadReader& reader) {
    std::string line;
    if (!reader.readLine(line))
        return false;
    DEBUG_LOG("%s", line.c_str());
    return HTTP_ParseStatusLine(line, version_, returnCode_);
}

bool HTTP_FileImpl::connect() {
    const HTTP_AddressPortPair& target = connection_->getTarget();
    const char* address = target.getAddress();
    const auto targetPort = static_cast<unsigned>(target.getPort());
    DEBUG_LOG("HTTP_FileImpl::connect: attempting to connect %s:%u\n", address == nullptr ? "" : address,
              targetPort);
    unsigned returnPort = 0;
    if (address == nullptr || !isPort(target.getPort()) ||
        !socket_.create(Socket_Socket::TRANSPORT_TCP, false) || !bindReturnAddress(returnPort))
        return false;
    DEBUG_LOG("HTTP_FileImpl::connect: attempting to connect %s:%u\n", address, targetPort);
    if (socket_.connect(address, static_cast<unsigned short>(targetPort))) {
        DEBUG_LOG("HTTP_FileImpl::connect: sucessfully connected %s:%u\n", address, targetPort);
        return true;
    }
    DEBUG_LOG("HTTP_FileImpl::connect: failed to connect %s:%u (%u)\n", address, targetPort, returnPort);
    return false;
}

/// Binds the local end where a firewall expects the connection to come from. `port` is the last port tried.
bool HTTP_FileImpl::bindReturnAddress(unsigned& port) {
    const std::string& address = connection_->getReturnAddress();
    const int lowest = connection_->getReturnPortMin();
    if (lowest == 0)
        return address.empty() || socket_.bind(address.c_str(), 0);
    const int highest = std::min<int>(connection_->getReturnPortMax(), largestPort);
    for (int candidate = std::max(lowest, 1); candidate <= highest; ++candidate) {
        port = static_cast<unsigned>(candidate);
        if (socket_.bind(address.c_str(), static_cast<unsigned short>(candidate)))
            return true;
        const HTTP_AddressPortPair& target = connection_->getTarget();
        DEBUG_LOG("HTTP_FileImpl::connect: failed to connect [return port] %s:%u (%u)\n", target.getAddress(),
                  static_cast<unsigned>(target.getPort()), port);
    }
    return false;
}
