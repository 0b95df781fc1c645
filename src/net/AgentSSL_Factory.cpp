#include "net/AgentSSL_Factory.h"

#include "log/Debug_Printf.h"
#include "net/Socket_TLS.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/ssl.h>

#include <array>
#include <cstdint>
#include <memory>
#include <utility>

AgentSSL_Factory gSSLFactory;

namespace {

struct Release {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};

template <typename Type>
using Owned = std::unique_ptr<Type, Release>;

/// The anonymous suites come first, and among them those over elliptic curves, whose handshake costs a tenth.
/// The others are for servers that have a certificate; as a server the agent has none and can only use the
/// first. Anonymous suites are offered by nothing above security level 0.
constexpr char cipherList[] = "AECDH+AES128:AECDH+AES:ADH+AES:HIGH:MEDIUM:ADH:!eNULL:!PSK:!SRP:@SECLEVEL=0";

/// RFC 7919, A.1: a group that need not be generated, large enough for the library to accept it.
constexpr char diffieHellmanGroup[] = "ffdhe2048";

/// Sessions of clients that don't take tickets.
constexpr long sessionCacheSize = 1024;

/// The process's Diffie-Hellman parameters, and a context for each role that all sockets share. Written while
/// the layer comes up and goes down only.
Owned<EVP_PKEY> gDH;
std::array<Owned<SSL_CTX>, 2> contexts;

void logLibraryError(const char* failure) {
    DEBUG_LOG("AgentSSL_Factory::createSSLContext: %s: %s\n", failure, Socket_TLSError().c_str());
}

Owned<EVP_PKEY> makeDiffieHellmanParameters() {
    const Owned<EVP_PKEY_CTX> generator(EVP_PKEY_CTX_new_from_name(nullptr, "DH", nullptr));
    std::string group = diffieHellmanGroup;
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, group.data(), group.size()),
        OSSL_PARAM_construct_end(),
    };
    EVP_PKEY* made = nullptr;
    if (generator == nullptr || EVP_PKEY_paramgen_init(generator.get()) != 1 ||
        EVP_PKEY_CTX_set_params(generator.get(), parameters) != 1)
        return nullptr;
    EVP_PKEY_paramgen(generator.get(), &made);
    return Owned<EVP_PKEY>(made);
}

const char* directionText(int where) {
    if ((where & SSL_ST_CONNECT) != 0)
        return "SSL_connect";
    return (where & SSL_ST_ACCEPT) != 0 ? "SSL_accept" : "undefined";
}

void AgentSSL_InfoCallback(const SSL* ssl, int where, int ret) {
    if ((where & SSL_CB_LOOP) != 0) {
        DEBUG_LOG("%s:%s\n", directionText(where), SSL_state_string_long(ssl));
    } else if ((where & SSL_CB_ALERT) != 0) {
        DEBUG_LOG("SSL3 alert %s:%s:%s\n", (where & SSL_CB_READ) != 0 ? "read" : "write",
                  SSL_alert_type_string_long(ret), SSL_alert_desc_string_long(ret));
    } else if ((where & SSL_CB_EXIT) != 0 && ret <= 0) {
        DEBUG_LOG(ret == 0 ? "%s:failed in %s\n" : "%s:error in %s\n", directionText(where),
                  SSL_state_string_long(ssl));
    }
}

/// The last version with anonymous suites, and no renegotiation: a peer could ask for it without end. What
/// the library has decrypted and given out is overwritten.
bool limitProtocol(SSL_CTX* context) {
    SSL_CTX_set_options(context, SSL_OP_ALL | SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE |
                                     SSL_OP_CLEANSE_PLAINTEXT);
    SSL_CTX_set_mode(context, SSL_MODE_RELEASE_BUFFERS);
    return SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) == 1 &&
           SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION) == 1;
}

/// The context takes over a reference of its own.
bool useDiffieHellmanParameters(SSL_CTX* context) {
    if (EVP_PKEY_up_ref(gDH.get()) != 1)
        return false;
    if (SSL_CTX_set0_tmp_dh_pkey(context, gDH.get()) == 1)
        return true;
    EVP_PKEY_free(gDH.get());
    return false;
}

Owned<SSL_CTX> makeContext(Socket_SSLFactory::ConnectionRole role) {
    const bool client = role == Socket_SSLFactory::CLIENT;
    Owned<SSL_CTX> context(SSL_CTX_new(client ? TLS_client_method() : TLS_server_method()));
    if (context == nullptr) {
        DEBUG_LOG("AgentSSL_Factory::createSSLContext: failed to allocate SSL_CTX structure\n");
        return nullptr;
    }
    SSL_CTX_set_info_callback(context.get(), AgentSSL_InfoCallback);
    if (SSL_CTX_set_cipher_list(context.get(), cipherList) != 1) {
        logLibraryError("failed to enable ADH ciphers");
        return nullptr;
    }
    if (!limitProtocol(context.get())) {
        logLibraryError("failed to limit the protocol to TLS 1.2");
        return nullptr;
    }
    if (!client) {
        SSL_CTX_sess_set_cache_size(context.get(), sessionCacheSize);
        if (!useDiffieHellmanParameters(context.get())) {
            logLibraryError("failed to use the Diffie-Hellman parameters");
            return nullptr;
        }
    }
    return context;
}

} // namespace

bool AgentSSL_LayerInit() {
    // A worker may still be on a connection while the process ends, so the library must not be taken down
    // then.
    OPENSSL_init_ssl(OPENSSL_INIT_NO_ATEXIT | OPENSSL_INIT_LOAD_SSL_STRINGS, nullptr);
    gDH = makeDiffieHellmanParameters();
    if (gDH == nullptr) {
        logLibraryError("failed to generate Diffie-Hellman key parameters");
        return false;
    }
    for (const auto role : {Socket_SSLFactory::CLIENT, Socket_SSLFactory::SERVER}) {
        contexts[role] = makeContext(role);
        if (contexts[role] == nullptr)
            return false;
    }
    return true;
}

void AgentSSL_LayerCleanup() {
    for (auto& context : contexts)
        context.reset();
    gDH.reset();
}

AgentSSL_Factory::AgentSSL_Factory(std::string certPath, std::string certPassword, std::string keyPath,
                                   std::string keyPassword, std::string caFilePath,
                                   std::string caFilePassword)
    : certPath_(std::move(certPath)), certPassword_(Secret_Text::take(std::move(certPassword))),
      keyPath_(std::move(keyPath)), keyPassword_(Secret_Text::take(std::move(keyPassword))),
      caFilePath_(std::move(caFilePath)), caFilePassword_(Secret_Text::take(std::move(caFilePassword))) {}

void* AgentSSL_Factory::createSSLContext(ConnectionRole role) {
    if (role != CLIENT && role != SERVER)
        return nullptr;
    SSL_CTX* context = contexts[role].get();
    if (context == nullptr || SSL_CTX_up_ref(context) != 1)
        return nullptr;
    return context;
}

void* AgentSSL_Factory::createSSL(void* context) {
    SSL* ssl = SSL_new(static_cast<SSL_CTX*>(context));
    if (ssl == nullptr)
        DEBUG_LOG("AgentSSL_Factory::createSSL: failed to allocate SSL structure\n");
    return ssl;
}
