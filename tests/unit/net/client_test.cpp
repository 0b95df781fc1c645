#include "TestServer.h"
#include "net/HTTP_Exception.h"
#include "net/HTTP_Session.h"
#include "net/HTTP_Types.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using testing::ElementsAre;

namespace {

/// Takes one connection for each of its replies, in order, and keeps what was sent on it.
class ScriptedPeer {
public:
    explicit ScriptedPeer(std::vector<std::string> replies) : replies_(std::move(replies)) {
        EXPECT_TRUE(listener_.create(Socket_Socket::TRANSPORT_TCP, true) && listener_.bind("127.0.0.1", 0) &&
                    listener_.listen());
        thread_ = std::thread([this] { serve(); });
    }
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;
    ~ScriptedPeer() { finish(); }

    unsigned short port() const { return listener_.getLocalPort(); }
    /// What came, connection by connection, once all replies are given.
    const std::vector<std::string>& requests() {
        finish();
        return requests_;
    }

private:
    void finish() {
        if (thread_.joinable())
            thread_.join();
    }
    void serve() {
        for (const std::string& reply : replies_) {
            Socket_SocketImpl connection;
            if (!listener_.accept(&connection))
                return;
            requests_.push_back(readRequest(connection));
            bool flag = false;
            connection.write(reply.data(), static_cast<unsigned>(reply.size()), flag);
        }
    }
    static std::string readRequest(Socket_SocketImpl& connection) {
        const std::string lengthName = "Content-Length: ";
        while (true) {
            const std::string_view text = connection.arrived();
            const std::size_t head = text.find("\r\n\r\n");
            const std::size_t length = text.find(lengthName);
            if (head != std::string_view::npos && length != std::string_view::npos &&
                text.size() >= head + 4 + std::stoul(std::string(text.substr(length + lengthName.size()))))
                return std::string(text);
            if (!connection.receiveMore(60))
                return std::string(text);
        }
    }

    std::vector<std::string> replies_;
    Socket_SocketImpl listener_;
    std::vector<std::string> requests_;
    std::thread thread_;
};

/// One outgoing call.
struct Call {
    explicit Call(unsigned short port, HTTP_LocalEnd localEnd = {})
        : session(HTTP_FactoryAllocateSession("Test Agent")),
          file(session
                   ->getHttpConnection({.target = {"127.0.0.1", port},
                                        .uri = {},
                                        .localEnd = std::move(localEnd),
                                        .username = "Mufasa",
                                        .password = Secret_Text("Circle Of Life")})
                   ->getRequest(HTTP_METHOD_POST, "/BrindlexServer")) {}
    bool send(const std::string& body = "<a b=\"c d\"/>") {
        return file->sendRequest(HTTP_CONTENT_TYPE_FORM_URLENCODED, "CommandBody", body.data(),
                                 static_cast<int>(body.size()));
    }
    std::string body() const {
        char* text = nullptr;
        int length = 0;
        return file->getEntityBody(text, length) ? std::string(text, static_cast<std::size_t>(length)) : "";
    }

    std::unique_ptr<HTTP_Session> session;
    HTTP_File* file;
};

const std::string plainRequest = "POST /BrindlexServer HTTP/1.0\r\n"
                                 "User-Agent: Test Agent\r\n"
                                 "Content-Type: application/x-www-form-urlencoded\r\n"
                                 "Content-Length: 24\r\n"
                                 "Connection: Keep-Alive\r\n"
                                 "\r\n"
                                 "%3Ca+b%3D%22c+d%22%2F%3E";

/// An address of the loopback that is this process's alone, so that no other test takes its ports.
std::string ownAddress() {
    const auto process = static_cast<unsigned>(::getpid());
    return "127." + std::to_string(1 + process / 65536 % 254) + '.' + std::to_string(process / 256 % 256) +
           '.' + std::to_string(process % 256);
}

} // namespace

TEST(HTTP_Client, SendsOneRequestAndReadsOneReply) {
    const struct {
        const char* reply;
        int code;
        const char* body;
    } cases[] = {
        {"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\na\r\nb\nrest", 200, "a\r\nb\n"},
        {"HTTP/1.0 200 OK\r\n\r\na\r\nb\n\rc", 200, "abc"},
        {"HTTP/1.0 200 OK\r\n\r\n", 200, ""},
        {"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\nrest", 200, ""},
        {"HTTP/1.0 500 NO\r\nContent-Length: 2\r\n\r\nno", 500, "no"},
        {"HTTP/1.0 418 I'm a teapot\r\n\r\n", 418, ""},
    };
    for (const auto& row : cases) {
        ScriptedPeer peer({row.reply});
        Call call(peer.port());
        EXPECT_THROW(call.file->getReturnCode(), HTTP_Exception);
        ASSERT_TRUE(call.send()) << row.reply;
        EXPECT_EQ(call.file->getReturnCode(), row.code);
        EXPECT_EQ(call.body(), row.body);
        EXPECT_THAT(peer.requests(), ElementsAre(plainRequest));
    }
}

TEST(HTTP_Client, ARouteThatLeadsNowhereIsAFailure) {
    for (const HTTP_AddressPortPair& target :
         {HTTP_AddressPortPair("127.0.0.1", 0), HTTP_AddressPortPair("127.0.0.1", 65536),
          HTTP_AddressPortPair("", 80), HTTP_AddressPortPair("127.0.0.1", 1)}) {
        const auto session = HTTP_FactoryAllocateSession(nullptr);
        EXPECT_FALSE(session->getHttpConnection(nullptr, 0, 0, target, nullptr, nullptr)
                         ->getRequest(HTTP_METHOD_POST, "/")
                         ->sendRequest(HTTP_CONTENT_TYPE_TEXT_XML, "", "x", 1))
            << target.getPort();
    }
}

TEST(HTTP_Client, ABrokenReplyIsAFailure) {
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    for (const std::string& reply :
         {std::string(), std::string("HTTP/1.1 200\r\n\r\n"), std::string("nonsense"),
          std::string("HTTP/1.1 OK fine\r\n\r\n"), "HTTP/1.1 " + std::string(5000, '9') + "\r\n\r\n",
          ok + "no header\r\n\r\n", ok + "A: b\n\r\n", ok + "WWW-Authenticate: Nothing known\r\n\r\n",
          ok + "Content-Length: 5\r\n\r\nabc", ok + "Content-Length: 999999999999\r\n\r\nabc",
          ok + "Content-Length: 99999999999999999999999999\r\n\r\nabc", std::string("HTTP/1.1 401 X\r\n\r\n"),
          std::string("HTTP/1.1 407 X\r\nWWW-Authenticate: Basic realm=\"r\"\r\n\r\n"),
          std::string("HTTP/1.1 401 X\r\nWWW-Authenticate: Digest nonce=n,qop=auth-int\r\n\r\n")}) {
        ScriptedPeer peer({reply});
        Call call(peer.port());
        EXPECT_FALSE(call.send()) << reply;
    }
}

TEST(HTTP_Client, ParallelCallsShareAReturnPortRange) {
    constexpr int calls = 200;
    constexpr int lowest = 20000;
    constexpr int highest = 20255;
    TestServer server(answerFine);
    std::atomic<int> succeeded = 0;
    std::vector<std::thread> threads;
    threads.reserve(calls);
    for (int i = 0; i < calls; ++i)
        threads.emplace_back([&] {
            Call call(server.port(), {ownAddress(), lowest, highest});
            if (call.send() && call.file->getReturnCode() == HTTP_RETURN_OK)
                ++succeeded;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(succeeded, calls);
}
