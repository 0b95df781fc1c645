#pragma once

#include "net/AgentSSL_Factory.h"
#include "net/HTTP_File.h"
#include "net/HTTP_ServerImpl.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <functional>
#include <memory>
#include <netinet/in.h>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

/// The TLS layer for the life of a test.
class TLSLayer {
public:
    TLSLayer() { EXPECT_TRUE(AgentSSL_LayerInit()); }
    TLSLayer(const TLSLayer&) = delete;
    TLSLayer& operator=(const TLSLayer&) = delete;
    ~TLSLayer() { AgentSSL_LayerCleanup(); }
};

using Answer = std::function<bool(HTTP_File&)>;

/// A server on a free port of the loopback, whose requests one function answers.
class TestServer {
public:
    explicit TestServer(Answer answer) : factory_(std::move(answer)) {
        running_ = server_.init({&pair_}, &gSSLFactory, &factory_, 5) && server_.start();
        EXPECT_TRUE(running_);
        port_ = server_.getPorts().at(0);
    }
    TestServer(const TestServer&) = delete;
    TestServer& operator=(const TestServer&) = delete;
    ~TestServer() {
        for (unsigned attempt = 0; running_ && attempt < 6000; ++attempt) {
            server_.shutdown(running_, attempt, false);
            if (running_)
                ::usleep(10000);
        }
        EXPECT_FALSE(running_) << "a thread is left";
    }

    unsigned short port() const { return port_; }

private:
    struct Handler : HTTP_RequestHandler {
        explicit Handler(const Answer& answer) : answer_(answer) {}
        bool handleGet(HTTP_File* file, bool& keepFile) override {
            keepFile = false;
            return answer_(*file);
        }
        bool handlePost(HTTP_File* file, bool& keepFile) override { return handleGet(file, keepFile); }
        const Answer& answer_;
    };
    struct Factory : HTTP_RequestHandlerFactory {
        explicit Factory(Answer answer) : answer_(std::move(answer)) {}
        std::unique_ptr<HTTP_RequestHandler> createHandler() override {
            return std::make_unique<Handler>(answer_);
        }
        Answer answer_;
    };

    TLSLayer tls_;
    HTTP_AddressPortPair pair_{"127.0.0.1", 0};
    Factory factory_;
    HTTP_ServerImpl server_;
    unsigned short port_ = 0;
    bool running_ = false;
};

inline bool answerFine(HTTP_File& file) {
    return file.sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_TEXT_HTML, "fine", 4);
}

/// The bare other end of a connection.
class RawClient {
public:
    RawClient() : descriptor_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
    explicit RawClient(unsigned short port) : RawClient() { connect(port); }
    void connect(unsigned short port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;
    ~RawClient() { ::close(descriptor_); }

    int descriptor() const { return descriptor_; }
    void send(std::string_view text) const {
        EXPECT_EQ(::send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(text.size()));
    }
    /// No more will be sent.
    void finish() { ::shutdown(descriptor_, SHUT_WR); }

    /// What comes until the other end closes; nothing if it does not.
    std::optional<std::string> readToEnd() {
        std::string all;
        while (more(all, patience)) {
        }
        if (ended_)
            return all;
        return std::nullopt;
    }
    /// Reads on until what has come holds `text`.
    bool await(std::string_view text) {
        while (seen_.find(text) == std::string::npos) {
            if (!more(seen_, patience))
                return false;
        }
        return true;
    }
    bool isSilent(int milliseconds) {
        std::string ignored;
        return !more(ignored, milliseconds) && !ended_;
    }

private:
    /// For what comes unless there is a fault, in milliseconds: a loaded machine takes its time.
    static constexpr int patience = 60000;

    bool more(std::string& text, int milliseconds) {
        pollfd event{descriptor_, POLLIN, 0};
        if (::poll(&event, 1, milliseconds) != 1)
            return false;
        char piece[65536];
        const ssize_t count = ::recv(descriptor_, piece, sizeof piece, 0);
        ended_ = count == 0;
        if (count <= 0)
            return false;
        text.append(piece, static_cast<std::size_t>(count));
        return true;
    }

    int descriptor_;
    std::string seen_;
    bool ended_ = false;
};

inline std::optional<std::string> exchange(unsigned short port, std::string_view request) {
    RawClient client(port);
    client.send(request);
    client.finish();
    return client.readToEnd();
}
