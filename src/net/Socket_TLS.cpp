#include "net/Socket_TLS.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>
#include <utility>

namespace {

/// A peer that stops in the middle of a handshake holds its worker no longer than one that stops in a
/// request.
constexpr unsigned handshakeWaitSeconds = 180;
/// The plain text of one record, RFC 5246, 6.2.1.
constexpr std::size_t largestRecord = 16384;
constexpr std::size_t errorTextSize = 1024;
/// The records of a large write go out together, so many bytes to a system call.
constexpr std::size_t recordsAtOnce = 256 * std::size_t{1024};

} // namespace

/// The library's view of the transport (BIO_meth_new(3)).
struct Socket_TLSBio {
    static Socket_TLS& connection(BIO* bio) { return *static_cast<Socket_TLS*>(BIO_get_data(bio)); }

    static int read(BIO* bio, char* buffer, int length) {
        Socket_TLS& tls = connection(bio);
        if (!tls.hasCipherText())
            return -1;
        const std::string_view arrived = tls.transport_.arrived();
        const std::size_t count = std::min(arrived.size(), static_cast<std::size_t>(length));
        std::memcpy(buffer, arrived.data(), count);
        tls.transport_.consume(count);
        return static_cast<int>(count);
    }

    static int write(BIO* bio, const char* buffer, int length) {
        Socket_TLS& tls = connection(bio);
        const auto wanted = static_cast<std::size_t>(length);
        if (tls.farewell_) {
            tls.transport_.sendWithoutWaiting(buffer, wanted);
            return length;
        }
        if (tls.collected_ != nullptr)
            return tls.collect({buffer, wanted}) ? length : -1;
        return tls.transport_.send(buffer, wanted) == wanted ? length : -1;
    }

    static long control(BIO*, int command, long, void*) { return command == BIO_CTRL_FLUSH ? 1 : 0; }

    static BIO_METHOD* method() {
        // Lives as long as the process, since connections may still be in use while it ends.
        static BIO_METHOD* const instance = make();
        return instance;
    }

    static BIO_METHOD* make() {
        BIO_METHOD* made = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "buffered socket");
        if (made == nullptr)
            throw std::bad_alloc();
        BIO_meth_set_read(made, read);
        BIO_meth_set_write(made, write);
        BIO_meth_set_ctrl(made, control);
        return made;
    }
};

void Socket_TLSRelease::operator()(ssl_st* ssl) const {
    SSL_free(ssl);
}

std::string Socket_TLSError() {
    const unsigned long error = ERR_get_error();
    char text[errorTextSize];
    ERR_error_string_n(error, text, sizeof text);
    return std::to_string(static_cast<unsigned>(error)) + ' ' + text;
}

Socket_TLS::Socket_TLS(Socket_TLSPtr ssl, Socket_Transport& transport)
    : transport_(transport), ssl_(std::move(ssl)), receiveLimit_(handshakeWaitSeconds) {
    BIO* bio = BIO_new(Socket_TLSBio::method());
    if (bio == nullptr)
        throw std::bad_alloc();
    BIO_set_data(bio, this);
    BIO_set_init(bio, 1);
    SSL_set_bio(ssl_.get(), bio, bio);
}

Socket_TLS::~Socket_TLS() {
    if (!broken_ && isEstablished()) {
        farewell_ = true;
        SSL_shutdown(ssl_.get());
    }
    ERR_clear_error();
}

bool Socket_TLS::isEstablished() const {
    return SSL_is_init_finished(ssl_.get()) == 1;
}

bool Socket_TLS::handshakeAsClient() {
    receiveLimit_ = handshakeWaitSeconds;
    ERR_clear_error();
    broken_ = SSL_connect(ssl_.get()) != 1;
    return !broken_;
}

bool Socket_TLS::handshakeAsServer() {
    receiveLimit_ = handshakeWaitSeconds;
    ERR_clear_error();
    broken_ = SSL_accept(ssl_.get()) != 1;
    return !broken_;
}

bool Socket_TLS::hasPeerCertificate() const {
    return SSL_get0_peer_certificate(ssl_.get()) != nullptr;
}

bool Socket_TLS::receiveMore(unsigned timeoutSeconds) {
    receiveLimit_ = timeoutSeconds;
    char* space = plain_.reserve(largestRecord);
    const int capacity = static_cast<int>(std::min<std::size_t>(plain_.room(), INT_MAX));
    ERR_clear_error();
    const int count = SSL_read(ssl_.get(), space, capacity);
    if (count <= 0) {
        broken_ = broken_ || SSL_get_error(ssl_.get(), count) != SSL_ERROR_ZERO_RETURN;
        return false;
    }
    plain_.added(static_cast<std::size_t>(count));
    return true;
}

int Socket_TLS::write(const char* buffer, int length) {
    ERR_clear_error();
    std::string records;
    if (static_cast<std::size_t>(length) > largestRecord)
        collected_ = &records;
    const int count = SSL_write(ssl_.get(), buffer, length);
    const bool sent = count > 0 && (collected_ == nullptr || sendCollected());
    collected_ = nullptr;
    broken_ = broken_ || !sent;
    return sent ? count : -1;
}

/// Waits for it if need be. No exception may pass through the library, here nor below.
bool Socket_TLS::hasCipherText() {
    try {
        return !transport_.arrived().empty() || transport_.receiveMore(receiveLimit_);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool Socket_TLS::collect(std::string_view records) {
    try {
        collected_->append(records);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return collected_->size() < recordsAtOnce || sendCollected();
}

bool Socket_TLS::sendCollected() {
    const bool sent = transport_.send(collected_->data(), collected_->size()) == collected_->size();
    collected_->clear();
    return sent;
}
