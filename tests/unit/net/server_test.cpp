#include "TestServer.h"
#include "log/Debug_Printf.h"
#include "net/HTTP_Exception.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
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

std::optional<std::string> exchange(unsigned short port, std::string_view request) {
    RawClient client(port);
    client.send(request);
    client.finish();
    return client.readToEnd();
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/// Waits until `condition` holds, at most ten seconds.
template <typename Condition>
bool eventually(Condition condition) {
    for (int turn = 0; turn < 1000 && !condition(); ++turn)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return condition();
}

} // namespace

TEST(HTTP_Server, RequestsAndTheirReplies) {
    TestServer server(echo);
    const std::string close = "Connection: close\r\n";
    const struct {
        std::string request;
        std::string reply;
    } cases[] = {
        {"GET / HTTP/1.0\r\n\r\n", replyWith("200 OK", "1 / -", false)},
        {"GET / HTTP/1.0\n\n", replyWith("200 OK", "1 / -", false)},
        {"GET / HTTP/1.1\r\n\r\n", replyWith("200 OK", "1 / -", true)},
        {"GET / HTTP/1.1\r\nConnection: Close\r\n\r\n", replyWith("200 OK", "1 / -", false)},
        {"GET / HTTP/1.0\r\nConnection: keep-alive\r\n\r\n", replyWith("200 OK", "1 / -", true)},
        {"GET / HTTP/0.9\r\n\r\n", "HTTP/0.9" + replyWith("200 OK", "1 / -", false).substr(8)},
        {"get /a HTTP/1.0\r\n\r\n", replyWith("501 NOT IMPLEMENTED", "", false)},
        {"POST /p HTTP/1.0\r\nContent-Length: 3\r\n\r\nabc", replyWith("200 OK", "2 /p abc", false)},
        {"POST /p HTTP/1.0\r\nContent-Length: 0\r\n\r\n", replyWith("200 OK", "2 /p -", false)},
        {"POST /p HTTP/1.0\r\nContent-Length: -7\r\n\r\n", replyWith("200 OK", "2 /p -", false)},
        {"POST / HTTP/1.0\r\nContent-Type: application/x-www-form-urlencoded\r\nContent-Length: "
         "9\r\n\r\na%3Db+c%0",
         replyWith("200 OK", "2 / a=b c%0", false)},
        {"POST / HTTP/1.0\r\nContent-Type: application/x-www-form-urlencoded\r\nContent-Length: "
         "6\r\n\r\nab%00c",
         replyWith("200 OK", "2 / ab", false)},
        // Pipelined requests, the second in pieces of the same packet; a version never clears what a header
        // set.
        {"GET /1 HTTP/1.1\r\n\r\nPOST /2 HTTP/1.0\r\nContent-Length: 2\r\n\r\nxyGET /3 HTTP/1.0\r\n\r\n",
         replyWith("200 OK", "1 /1 -", true) + replyWith("200 OK", "2 /2 xy", true) +
             replyWith("200 OK", "1 /3 -", true)},
        {"GET /1 HTTP/1.1\r\n\r\nGET /2 HTTP/1.1\r\n" + close + "\r\nGET /3 HTTP/1.0\r\n\r\n",
         replyWith("200 OK", "1 /1 -", true) + replyWith("200 OK", "1 /2 -", true) +
             replyWith("200 OK", "1 /3 -", true)},
        // What follows the last reply of a connection is not answered, and does not cost the reply either.
        {"GET /1 HTTP/1.0\r\n\r\nGET /2 HTTP/1.0\r\n\r\n", replyWith("200 OK", "1 /1 -", false)},
        // The length of one request is not that of the next.
        {"POST /1 HTTP/1.1\r\nContent-Length: 1\r\n\r\nxPOST /2 HTTP/1.1\r\n\r\n",
         replyWith("200 OK", "2 /1 x", true) + replyWith("200 OK", "2 /2 -", true)},
        {"POST / HTTP/1.0\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nab",
         replyWith("200 OK", "2 / ab", false)},
    };
    for (const auto& row : cases)
        EXPECT_EQ(exchange(server.port(), row.request), row.reply) << row.request;
}

TEST(HTTP_Server, WhatCannotBeReadGetsNoReply) {
    TestServer server(echo);
    for (const char* request :
         {"", "GE", "GET", "GET / HTTP/1.0", "GET /\r\n\r\n", "HEAD / HTTP/1.1\r\n\r\n",
          "\r\nGET / HTTP/1.0\r\n\r\n", "GET / HTTP/1.0\r\nHost: x\n\r\n", "GET / HTTP/1.0\r\nHost\r\n\r\n",
          "GET / HTTP/1.0\r\nHost: x\r\n", "POST / HTTP/1.0\r\nContent-Length: 4\r\n\r\nabc",
          "POST / HTTP/1.0\r\nContent-Length: 999999999999\r\n\r\nx",
          "POST / HTTP/1.0\r\nContent-Length: 99999999999999999999999\r\n\r\n", "\x16\x03\x01\x02",
          "\x80\x2e\x01\x03\x01"})
        EXPECT_EQ(exchange(server.port(), request), "") << request;
}

TEST(HTTP_Server, ALengthThatIsOnlyClaimedTakesNoMemory) {
    const auto virtualSize = [] {
        std::ifstream status("/proc/self/statm");
        std::size_t pages = 0;
        status >> pages;
        return pages * 4096;
    };
    TestServer server(echo);
    ASSERT_TRUE(exchange(server.port(), "GET / HTTP/1.0\r\n\r\n"));
    const std::size_t before = virtualSize();
    RawClient client(server.port());
    client.send("POST / HTTP/1.0\r\nContent-Length: 268435456\r\n\r\nabc");
    EXPECT_TRUE(client.isSilent(100));
    EXPECT_LT(virtualSize() - before, 100U * 1024 * 1024);
}

TEST(HTTP_Server, ReplyBodiesAreText) {
    TestServer server([](HTTP_File& file) {
        if (file.getURI() == "/type")
            return file.sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_UNKNOWN, "x", 1);
        if (file.getURI() == "/form")
            return file.sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_FORM_URLENCODED, "a b&", 4);
        return file.sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_TEXT_HTML, "ab\0cd",
                              file.getURI() == "/" ? 5 : 0);
    });
    EXPECT_EQ(exchange(server.port(), "GET / HTTP/1.0\r\n\r\n"), replyWith("200 OK", "ab", false));
    EXPECT_EQ(exchange(server.port(), "GET /none HTTP/1.0\r\n\r\n"), replyWith("200 OK", "", false));
    EXPECT_EQ(exchange(server.port(), "GET /type HTTP/1.0\r\n\r\n"), "");
    const auto form = exchange(server.port(), "GET /form HTTP/1.0\r\n\r\n");
    ASSERT_TRUE(form);
    EXPECT_NE(form->find("\r\nContent-Length: 6\r\nConnection: Close\r\n\r\na+b%26"), std::string::npos)
        << *form;
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
        return echo(file);
    });
    EXPECT_EQ(exchange(server.port(), "GET /throw HTTP/1.1\r\n\r\nGET / HTTP/1.1\r\n\r\n"), "");
    EXPECT_EQ(exchange(server.port(),
                       "GET /twice HTTP/1.1\r\n\r\nGET /throw HTTP/1.1\r\n\r\nGET / HTTP/1.1\r\n\r\n"),
              replyWith("200 OK", "", true) + replyWith("200 OK", "1 / -", true));
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

TEST(HTTP_Server, ALargeBodyArrivesInPieces) {
    std::string body(std::size_t{3} * 1024 * 1024, 'b');
    body += "end";
    TestServer server([&](HTTP_File& file) {
        char* text = nullptr;
        int length = 0;
        file.getEntityBody(text, length);
        const bool same = body == std::string_view(text, static_cast<std::size_t>(length));
        return file.sendReply(same ? HTTP_RETURN_OK : HTTP_RETURN_BAD_REQUEST, HTTP_CONTENT_TYPE_TEXT_HTML,
                              nullptr, 0);
    });
    EXPECT_EQ(exchange(server.port(), "POST / HTTP/1.0\r\nContent-Length: " + std::to_string(body.size()) +
                                          "\r\n\r\n" + body),
              replyWith("200 OK", "", false));
}

TEST(HTTP_Server, ConnectionsTakeWorkersAndTheSixteenthWaits) {
    TestServer server(echo);
    std::vector<std::unique_ptr<RawClient>> idle;
    for (int i = 0; i < 15; ++i) {
        idle.push_back(std::make_unique<RawClient>(server.port()));
        idle.back()->send("GET / HTTP/1.1\r\n\r\n");
        ASSERT_TRUE(idle.back()->await("1 / -")) << i;
        idle.back()->send("GET /slow");
    }
    RawClient last(server.port());
    last.send("GET / HTTP/1.0\r\n\r\n");
    EXPECT_TRUE(last.isSilent(200));
    idle.pop_back();
    EXPECT_EQ(last.readToEnd(), replyWith("200 OK", "1 / -", false));
    // The slow ones have lost nothing meanwhile.
    idle.front()->send("er HTTP/1.1\r\n\r\n");
    EXPECT_TRUE(idle.front()->await("1 /slower -"));
}

TEST(HTTP_Server, DroppedConnectionsLeaveNoDescriptor) {
    TestServer server(echo);
    ASSERT_TRUE(exchange(server.port(), "GET / HTTP/1.0\r\n\r\n"));
    const std::size_t before = openDescriptors();
    for (int i = 0; i < 500; ++i) {
        RawClient client(server.port());
        if (i % 3 == 1)
            client.send("GET / HTTP/1.1\r\nHo");
        if (i % 3 == 2)
            client.send("\x16\x03\x01 no handshake");
    }
    EXPECT_TRUE(eventually([&] { return openDescriptors() <= before; }))
        << openDescriptors() << " of " << before;
    EXPECT_EQ(exchange(server.port(), "GET / HTTP/1.0\r\n\r\n"), replyWith("200 OK", "1 / -", false));
}

TEST(HTTP_Server, AShortageOfDescriptorsPasses) {
    TestServer server(echo);
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
    EXPECT_EQ(waiting.readToEnd(), replyWith("200 OK", "1 / -", false));
}

TEST(HTTP_Server, StopsAtOnceWhenIdleAndNotBeforeItsConnectionsEnd) {
    TestServer server(echo);
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(server.stop(3));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    bool stillRunning = true;
    EXPECT_FALSE(server.server().shutdown(stillRunning, 0, true)) << "a stopped server is stopped again";

    TestServer busy(echo);
    auto client = std::make_unique<RawClient>(busy.port());
    client->send("GET / HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(client->await("1 / -"));
    EXPECT_FALSE(busy.stop(5));
    client.reset();
    EXPECT_TRUE(busy.stop(100));
}

TEST(HTTP_Server, AFailedInitLeavesNothingBound) {
    TestServer taken(echo);
    HTTP_AddressPortPair free("127.0.0.1", 0), same("127.0.0.1", taken.port()), noAddress("", 0),
        noPort("127.0.0.1", 65536);
    struct : HTTP_RequestHandlerFactory {
        std::unique_ptr<HTTP_RequestHandler> createHandler() override { return nullptr; }
    } factory;
    const std::size_t before = openDescriptors();
    for (HTTP_AddressPortPair* bad : {&same, &noAddress, &noPort}) {
        HTTP_ServerImpl server;
        EXPECT_FALSE(server.init({&free, bad}, &gSSLFactory, &factory, 5));
        EXPECT_EQ(openDescriptors(), before);
    }
    HTTP_ServerImpl server;
    EXPECT_FALSE(server.init({&free}, nullptr, &factory, 5));
    EXPECT_FALSE(server.init({&free}, &gSSLFactory, nullptr, 5));
    EXPECT_FALSE(server.start());
    HTTP_ServerImpl two;
    ASSERT_TRUE(two.init({&free, nullptr, &free}, &gSSLFactory, &factory, 0));
    EXPECT_EQ(two.getPorts().size(), 2U);
}

TEST(HTTP_Server, AcceptedConnectionsNoticeAVanishedPeer) {
    Socket_SocketImpl listener, accepted;
    ASSERT_TRUE(listener.create(Socket_Socket::TRANSPORT_TCP, true) && listener.bind("127.0.0.1", 0) &&
                listener.listen());
    RawClient client(listener.getLocalPort());
    ASSERT_TRUE(listener.accept(&accepted));
    int keepAlive = 0, noDelay = 0;
    timeval sendLimit{};
    socklen_t size = sizeof keepAlive;
    int descriptor = -1;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int candidate = std::stoi(entry.path().filename());
        sockaddr_in local{}, remote{};
        socklen_t localSize = sizeof local, remoteSize = sizeof remote;
        if (::getsockname(candidate, reinterpret_cast<sockaddr*>(&local), &localSize) == 0 &&
            ::getpeername(candidate, reinterpret_cast<sockaddr*>(&remote), &remoteSize) == 0 &&
            ntohs(local.sin_port) == listener.getLocalPort())
            descriptor = candidate;
    }
    ASSERT_NE(descriptor, -1);
    ASSERT_EQ(::getsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &keepAlive, &size), 0);
    EXPECT_EQ(keepAlive, 1);
    ASSERT_EQ(::getsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &noDelay, &size), 0);
    EXPECT_NE(noDelay, 0);
    size = sizeof sendLimit;
    ASSERT_EQ(::getsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &sendLimit, &size), 0);
    EXPECT_EQ(sendLimit.tv_sec, 180);
    EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
}

TEST(HTTP_Server, PasswordsStayOutOfTheLog) {
    const std::string path = testing::TempDir() + "net_server_log_" + std::to_string(::getpid());
    TestServer server([](HTTP_File& file) {
        return file.sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_TEXT_HTML, nullptr, 0);
    });
    ASSERT_TRUE(gDebugPrintf.logfile_open(path.c_str()));
    for (const std::string body :
         {"<a name='syspwd'>s3cret1</a>", "<a b='open'/>", "userPassword=\"s3cret2\""})
        exchange(server.port(),
                 "POST / HTTP/1.0\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    const std::string form = "CommandBody=%3CuserPassword%3Ds3cret3";
    exchange(server.port(),
             "POST / HTTP/1.0\r\nContent-Type: application/x-www-form-urlencoded\r\nContent-Length: " +
                 std::to_string(form.size()) + "\r\n\r\n" + form);
    ASSERT_TRUE(gDebugPrintf.logfile_close());
    std::ifstream file(path);
    const std::string log{std::istreambuf_iterator<char>(file), {}};
    std::filesystem::remove(path);
    EXPECT_NE(log.find("\nreceived request body: 13\n<a b='open'/>\n"), std::string::npos) << log;
    EXPECT_NE(log.find("RMI request body not logged for security reasons\n"), std::string::npos);
    EXPECT_EQ(log.find("s3cret"), std::string::npos) << log;
}
