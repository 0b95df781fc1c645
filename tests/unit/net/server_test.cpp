#include "TestServer.h"
#include "net/HTTP_Exception.h"

#include <gtest/gtest.h>

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
