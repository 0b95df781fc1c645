#include "TestServer.h"
#include "net/HTTP_Exception.h"

#include <gtest/gtest.h>

#include <netinet/tcp.h>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace {

std::string replyWith(const std::string& status, const std::string& body, bool keepAlive) {
    return "HTTP/1.1 " + status +
           "\r\nContent-Type: text/html\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\nConnection: " + (keepAlive ? "Keep-Alive" : "Close") + "\r\n\r\n" + body;
}

} // namespace

TEST(HTTP_Server, ReplyBodiesAreText) {
    TestServer server([](HTTP_File& file) {
        if (file.getURI() == "/type")
            return file.sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_UNKNOWN, "x", 1);
        return file.sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_TEXT_HTML, "ab\0cd",
                              file.getURI() == "/" ? 5 : 0);
    });
    EXPECT_EQ(exchange(server.port(), "GET / HTTP/1.0\r\n\r\n"), replyWith("200 OK", "ab", false));
    EXPECT_EQ(exchange(server.port(), "GET /none HTTP/1.0\r\n\r\n"), replyWith("200 OK", "", false));
    EXPECT_EQ(exchange(server.port(), "GET /type HTTP/1.0\r\n\r\n"), "");
}

TEST(HTTP_Server, AHandlerThatThrowsCostsOnlyItsRequest) {
    TestServer server([](HTTP_File& file) {
        if (file.getURI() == "/throw")
            throw std::bad_alloc();
        if (file.getURI() == "/twice") {
            file.sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_TEXT_HTML, nullptr, 0);
            try {
                file.sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_TEXT_HTML, nullptr, 0);
            } catch (const HTTP_Exception& exception) {
                EXPECT_EQ(exception.getExceptionCode(), HTTP_Exception::NoRequestReceived);
                throw;
            }
        }
        return answerFine(file);
    });
    EXPECT_EQ(exchange(server.port(), "GET /throw HTTP/1.1\r\n\r\nGET / HTTP/1.1\r\n\r\n"), "");
    EXPECT_EQ(exchange(server.port(),
                       "GET /twice HTTP/1.1\r\n\r\nGET /throw HTTP/1.1\r\n\r\nGET / HTTP/1.1\r\n\r\n"),
              replyWith("200 OK", "", true) + replyWith("200 OK", "fine", true));
}

TEST(HTTP_Server, ASlowReaderGetsTheWholeReply) {
    const std::string large(std::size_t{20} * 1024 * 1024, 'x');
    TestServer server([&](HTTP_File& file) {
        return file.sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_TEXT_XML, large.c_str(), 1);
    });
    RawClient client(server.port());
    client.send("GET / HTTP/1.0\r\n\r\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const auto reply = client.readToEnd();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->size() - reply->find("\r\n\r\n") - 4, large.size());
}

TEST(HTTP_Server, AShortageOfDescriptorsPasses) {
    TestServer server(answerFine);
    rlimit original{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &original), 0);
    RawClient first;
    RawClient waiting;
    rlimit none = original;
    none.rlim_cur = 3;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    // An accept that is already waiting has set a descriptor aside for the connection that it will get.
    first.connect(server.port());
    waiting.connect(server.port());
    waiting.send("GET / HTTP/1.0\r\n\r\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    EXPECT_TRUE(waiting.isSilent(0)) << "the shortage did not reach the server";
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &original), 0);
    EXPECT_EQ(waiting.readToEnd(), replyWith("200 OK", "fine", false));
}

TEST(HTTP_Server, StopsWhenIdleAndNotBeforeItsConnectionsEnd) {
    TestServer server(answerFine);
    ASSERT_TRUE(server.stop());
    bool stillRunning = true;
    EXPECT_FALSE(server.server().shutdown(stillRunning, 0, true)) << "a stopped server is stopped again";

    TestServer busy(answerFine);
    auto client = std::make_unique<RawClient>(busy.port());
    client->send("GET / HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(client->await("fine"));
    EXPECT_FALSE(busy.stop(5));
    client.reset();
    EXPECT_TRUE(busy.stop());
}

TEST(HTTP_Server, AFailedInitLeavesNothingBound) {
    TestServer taken(answerFine);
    HTTP_AddressPortPair free("127.0.0.1", 0), same("127.0.0.1", taken.port()), noAddress("", 0),
        noPort("127.0.0.1", 65536);
    struct : HTTP_RequestHandlerFactory {
        std::unique_ptr<HTTP_RequestHandler> createHandler() override { return nullptr; }
    } factory;
    for (HTTP_AddressPortPair* bad : {&same, &noAddress, &noPort}) {
        HTTP_ServerImpl server;
        EXPECT_FALSE(server.init({&free, bad}, &gSSLFactory, &factory, 5));
        EXPECT_TRUE(server.getPorts().empty());
    }
    HTTP_ServerImpl server;
    EXPECT_FALSE(server.init({&free}, nullptr, &factory, 5));
    EXPECT_FALSE(server.init({&free}, &gSSLFactory, nullptr, 5));
    EXPECT_FALSE(server.start());
    HTTP_ServerImpl two;
    ASSERT_TRUE(two.init({&free, nullptr, &free}, &gSSLFactory, &factory, 0));
    EXPECT_EQ(two.getPorts().size(), 2U);
}

TEST(HTTP_Server, ConnectionsNoticeAVanishedPeer) {
    const RawClient socket;
    ASSERT_TRUE(Socket_PrepareTCP(socket.descriptor()));
    const auto option = [&](int level, int name) {
        int value = 0;
        socklen_t size = sizeof value;
        EXPECT_EQ(::getsockopt(socket.descriptor(), level, name, &value, &size), 0);
        return value;
    };
    EXPECT_EQ(option(SOL_SOCKET, SO_KEEPALIVE), 1);
    EXPECT_EQ(option(IPPROTO_TCP, TCP_KEEPIDLE) +
                  option(IPPROTO_TCP, TCP_KEEPINTVL) * option(IPPROTO_TCP, TCP_KEEPCNT),
              180);
    timeval sendLimit{};
    socklen_t size = sizeof sendLimit;
    ASSERT_EQ(::getsockopt(socket.descriptor(), SOL_SOCKET, SO_SNDTIMEO, &sendLimit, &size), 0);
    EXPECT_EQ(sendLimit.tv_sec, 180);
}
