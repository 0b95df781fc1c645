#include "net/Socket_SocketImpl.h"

#include "log/Debug_Printf.h"
#include "net/Socket_Address.h"

#include <openssl/ssl.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace {

constexpr int listenBacklog = 128;

sockaddr* generic(sockaddr_in& address) {
    return reinterpret_cast<sockaddr*>(&address);
}

sockaddr_in endpoint(in_addr host, unsigned short port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr = host;
    return address;
}

std::optional<in_addr> resolve(const char* text) {
    return text == nullptr ? std::nullopt : Socket_ResolveAddress(text);
}

/// A signal does not stop a connection that is being made; it only ends the wait for it.
bool finishConnect(int descriptor) {
    pollfd event{descriptor, POLLOUT, 0};
    constexpr int limit = static_cast<int>(Socket_StalledWriteSeconds) * 1000;
    int ready = -1;
    do {
        ready = ::poll(&event, 1, limit);
    } while (ready < 0 && errno == EINTR);
    if (ready <= 0)
        return false;
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

std::optional<sockaddr_in> localAddress(int descriptor) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (::getsockname(descriptor, generic(address), &size) != 0)
        return std::nullopt;
    return address;
}

} // namespace

std::unique_ptr<Socket_Socket> Socket_FactoryAllocateSocket() {
    return std::make_unique<Socket_SocketImpl>();
}

bool Socket_LayerInit() {
    return true;
}

void Socket_LayerCleanup() {}

Socket_SocketImpl::~Socket_SocketImpl() = default;

bool Socket_SocketImpl::registerSSLFactory(Socket_SSLFactory* factory) {
    factory_ = factory;
    return factory != nullptr;
}

bool Socket_SocketImpl::setEncryptionProtocol(EncryptionProtocol protocol) {
    protocol_ = protocol;
    return true;
}

bool Socket_SocketImpl::setEncryptionProtocolVerifyPeer(bool verify) {
    verifyPeer_ = verify;
    if (tls_ == nullptr || !verify || tls_->hasPeerCertificate())
        return true;
    DEBUG_LOG("Socket_SocketImpl::setEncryptionProtocolVerifyPeer: certificate required\n");
    return false;
}

void Socket_SocketImpl::adopt(File_Descriptor descriptor, Socket_SSLFactory::ConnectionRole role) {
    close();
    if (!descriptor)
        return;
    transport_ = std::make_unique<Socket_Transport>(std::move(descriptor));
    open_ = role != Socket_SSLFactory::NONE;
    role_ = role;
}

bool Socket_SocketImpl::create(TransportProtocol transport, bool reuseAddress) {
    const bool datagrams = transport == TRANSPORT_UDP;
    adopt(File_Descriptor(::socket(AF_INET, (datagrams ? SOCK_DGRAM : SOCK_STREAM) | SOCK_CLOEXEC, 0)),
          Socket_SSLFactory::NONE);
    if (!isValid())
        return false;
    const int descriptor = transport_->descriptor();
    const int enable = 1;
    if ((!datagrams && !Socket_PrepareTCP(descriptor)) ||
        (reuseAddress && ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &enable, sizeof enable) != 0))
        close();
    return isValid();
}

bool Socket_SocketImpl::copy(Socket_Socket* source) {
    auto* other = dynamic_cast<Socket_SocketImpl*>(source);
    if (other == nullptr || other == this)
        return false;
    close();
    protocol_ = other->protocol_;
    factory_ = other->factory_;
    open_ = std::exchange(other->open_, false);
    role_ = other->role_;
    transport_ = std::move(other->transport_);
    tls_ = std::move(other->tls_);
    return true;
}

bool Socket_SocketImpl::bind(const char* address, unsigned short port) {
    const auto host = resolve(address);
    return host && bind(*host, port);
}

bool Socket_SocketImpl::bind(in_addr address, unsigned short port) {
    sockaddr_in local = endpoint(address, port);
    return isValid() && ::bind(transport_->descriptor(), generic(local), sizeof local) == 0;
}

bool Socket_SocketImpl::listen() {
    if (open_ || !isValid() || ::listen(transport_->descriptor(), listenBacklog) != 0)
        return false;
    open_ = true;
    role_ = Socket_SSLFactory::SERVER;
    return true;
}

bool Socket_SocketImpl::connect(const char* address, unsigned short port) {
    if (open_ || !isValid())
        return false;
    const auto host = resolve(address);
    if (!host)
        return false;
    sockaddr_in remote = endpoint(*host, port);
    const int descriptor = transport_->descriptor();
    if (::connect(descriptor, generic(remote), sizeof remote) != 0 &&
        !(errno == EINTR && finishConnect(descriptor)))
        return false;
    open_ = true;
    role_ = Socket_SSLFactory::CLIENT;
    return true;
}

bool Socket_SocketImpl::accept(Socket_Socket* target) {
    auto* accepted = dynamic_cast<Socket_SocketImpl*>(target);
    if (accepted == nullptr || accepted == this)
        return false;
    accepted->close();
    if (!open_ || role_ != Socket_SSLFactory::SERVER) {
        errno = EINVAL;
        return false;
    }
    File_Descriptor connection(::accept4(transport_->descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!connection)
        return false;
    accepted->adopt(std::move(connection), Socket_SSLFactory::SERVER);
    accepted->protocol_ = protocol_;
    accepted->factory_ = factory_;
    return true;
}

bool Socket_SocketImpl::doSSLAcceptOrConnect(bool& flag) {
    flag = false;
    if (protocol_ != ENCRYPTION_SSL)
        return true;
    if (tls_ == nullptr && !makeTLS())
        return false;
    if (tls_->isEstablished())
        return true;
    const bool client = role_ == Socket_SSLFactory::CLIENT;
    if (client ? tls_->handshakeAsClient() : tls_->handshakeAsServer())
        return true;
    DEBUG_LOG("Socket_SocketImpl::doSSLAcceptOrConnect: %s failed\n  SSL: %s\n",
              client ? "SSL_connect" : "SSL_accept", Socket_TLSError().c_str());
    return false;
}

bool Socket_SocketImpl::makeTLS() {
    if (factory_ == nullptr)
        return false;
    // The connection object holds a reference of its own.
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(
        static_cast<SSL_CTX*>(factory_->createSSLContext(role_)), &SSL_CTX_free);
    if (context == nullptr)
        return false;
    Socket_TLSPtr ssl(static_cast<SSL*>(factory_->createSSL(context.get())));
    if (ssl == nullptr)
        return false;
    tls_ = std::make_unique<Socket_TLS>(std::move(ssl), *transport_);
    return true;
}

const Socket_Input& Socket_SocketImpl::input() const {
    if (protocol_ == ENCRYPTION_SSL)
        return *tls_;
    return *transport_;
}

Socket_Input& Socket_SocketImpl::input() {
    return const_cast<Socket_Input&>(std::as_const(*this).input());
}

std::string_view Socket_SocketImpl::arrived() const {
    const bool readable = open_ && (protocol_ != ENCRYPTION_SSL || tls_ != nullptr);
    return readable ? input().arrived() : std::string_view();
}

void Socket_SocketImpl::consume(std::size_t count) {
    input().consume(count);
}

bool Socket_SocketImpl::receiveMore(unsigned timeoutSeconds) {
    bool flag = false;
    return open_ && doSSLAcceptOrConnect(flag) && input().receiveMore(timeoutSeconds);
}

int Socket_SocketImpl::take(char* buffer, std::size_t length, bool& flag, unsigned timeoutSeconds,
                            bool keep) {
    flag = false;
    if (!open_ || length > INT_MAX)
        return -1;
    if (keep && !Socket_AwaitBytes(*this, length, timeoutSeconds))
        return -1;
    std::size_t taken = 0;
    while (taken < length) {
        if (arrived().empty() && !receiveMore(timeoutSeconds))
            return -1;
        const std::string_view bytes = arrived().substr(0, length - taken);
        std::memcpy(buffer + taken, bytes.data(), bytes.size());
        taken += bytes.size();
        if (!keep)
            consume(bytes.size());
    }
    return static_cast<int>(taken);
}

int Socket_SocketImpl::read(char* buffer, unsigned length, bool& flag, unsigned timeoutSeconds) {
    return take(buffer, length, flag, timeoutSeconds, false);
}

int Socket_SocketImpl::peek(char* buffer, unsigned length, bool& flag, unsigned timeoutSeconds) {
    return take(buffer, length, flag, timeoutSeconds, true);
}

int Socket_SocketImpl::write(const char* buffer, unsigned length, bool& flag) {
    if (!open_ || length > INT_MAX || !doSSLAcceptOrConnect(flag))
        return -1;
    if (protocol_ == ENCRYPTION_SSL)
        return tls_->write(buffer, static_cast<int>(length));
    const std::size_t written = transport_->send(buffer, length);
    return written == 0 && length != 0 ? -1 : static_cast<int>(written);
}

bool Socket_SocketImpl::close() {
    tls_.reset();
    transport_.reset();
    open_ = false;
    return true;
}

unsigned short Socket_SocketImpl::getLocalPort() const {
    if (!isValid())
        return 0;
    const auto address = localAddress(transport_->descriptor());
    return address ? ntohs(address->sin_port) : static_cast<unsigned short>(0);
}

void Socket_SocketImpl::breakOff() {
    if (isValid())
        ::shutdown(transport_->descriptor(), SHUT_RDWR);
}

bool Socket_SocketImpl::beginConnectTo(const Socket_SocketImpl& listener) {
    if (open_ || !isValid() || !listener.isValid())
        return false;
    auto address = localAddress(listener.transport_->descriptor());
    const int descriptor = transport_->descriptor();
    if (!address || ::fcntl(descriptor, F_SETFL, O_NONBLOCK) != 0)
        return false;
    return ::connect(descriptor, generic(*address), sizeof *address) == 0 || errno == EINPROGRESS;
}
