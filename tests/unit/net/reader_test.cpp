#include "MemoryInput.h"
#include "net/HTTP_Reader.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

namespace {

constexpr unsigned noWait = 1;

std::optional<std::string> lineOf(MemoryInput& input) {
    HTTP_HeadReader reader(input, noWait);
    std::string line;
    if (!reader.readLine(line))
        return std::nullopt;
    return line;
}

bool headersOf(const std::string& text, HTTP_HeaderMap& headers, std::size_t piece = 7) {
    MemoryInput input(text, piece);
    HTTP_HeadReader reader(input, noWait);
    return reader.readHeaders(headers);
}

bool areHeaders(const std::string& text) {
    HTTP_HeaderMap headers;
    return headersOf(text, headers);
}

/// Bytes without end, made as they are asked for.
class EndlessInput : public Socket_Input {
public:
    explicit EndlessInput(const std::string& pattern) {
        while (block_.size() < 65536)
            block_ += pattern;
    }
    std::string_view arrived() const override { return std::string_view(block_).substr(begin_); }
    void consume(std::size_t count) override {
        begin_ += count;
        taken_ += count;
    }
    bool receiveMore(unsigned) override {
        begin_ = 0;
        return true;
    }
    std::size_t taken() const { return taken_; }

private:
    std::string block_;
    std::size_t begin_ = 0;
    std::size_t taken_ = 0;
};

} // namespace

TEST(HTTP_Reader, LinesEndAtAnyLineEndHoweverTheyArrive) {
    const struct {
        const char* text;
        std::optional<std::string> line;
        const char* left;
    } cases[] = {
        {"a\r\nb", "a\r\n", "b"},
        {"a\nb", "a\n", "b"},
        {"a\rb", "a\r", "b"},
        {"\r\r\n", "\r", "\r\n"},
        {"\r\nx", "\r\n", "x"},
        {"no end", std::nullopt, ""},
        {"cr at the end\r", std::nullopt, ""},
        {"", std::nullopt, ""},
    };
    for (const auto& row : cases) {
        for (const std::size_t piece : {1, 2, 100}) {
            MemoryInput input(row.text, piece);
            EXPECT_EQ(lineOf(input), row.line) << row.text << " in pieces of " << piece;
            EXPECT_EQ(input.left(), row.left) << row.text << " in pieces of " << piece;
        }
    }
}

TEST(HTTP_Reader, RequestLines) {
    const struct {
        const char* line;
        bool good;
        HTTP_Method method;
        const char* uri;
        const char* version;
    } cases[] = {
        {"GET / HTTP/1.1\r\n", true, HTTP_METHOD_GET, "/", "HTTP/1.1"},
        {"POST /nxCommand HTTP/1.0\n", true, HTTP_METHOD_POST, "/nxCommand", "HTTP/1.0"},
        {"get /a%20b x y\r\n", true, HTTP_METHOD_UNKNOWN, "/a%20b", "x y"},
        {"GETX / HTTP/1.1\r\n", true, HTTP_METHOD_UNKNOWN, "/", "HTTP/1.1"},
        {"GET http://host/p HTTP/1.1\r\n", true, HTTP_METHOD_GET, "//host/p", "HTTP/1.1"},
        {"GET / \r\n", true, HTTP_METHOD_GET, "/", ""},
        {"GET /\r\n", false, {}, "", ""},
        {"GET\r\n", false, {}, "", ""},
        {"GET x y\r\n", false, {}, "", ""},
        {"GET / HTTP/1.1", false, {}, "", ""},
    };
    for (const auto& row : cases) {
        HTTP_RequestLine request;
        ASSERT_EQ(HTTP_ParseRequestLine(row.line, request), row.good) << row.line;
        if (!row.good)
            continue;
        EXPECT_EQ(request.method, row.method) << row.line;
        EXPECT_EQ(request.uri, row.uri) << row.line;
        EXPECT_EQ(request.version, row.version) << row.line;
    }
}

TEST(HTTP_Reader, StatusLines) {
    std::string version;
    HTTP_Return_Code code{};
    ASSERT_TRUE(HTTP_ParseStatusLine("HTTP/1.1 407 PROXY AUTHORIZATION\r\n", version, code));
    EXPECT_EQ(version, "HTTP/1.1");
    EXPECT_EQ(code, HTTP_RETURN_PROXY_AUTHORIZATION);
    ASSERT_TRUE(HTTP_ParseStatusLine("x  200 \r\n", version, code));
    EXPECT_EQ(code, HTTP_RETURN_OK);
    ASSERT_TRUE(HTTP_ParseStatusLine("HTTP/1.1 " + std::string(5000, '9') + " \r\n", version, code));
    for (const char* broken :
         {"HTTP/1.1 200\r\n", "HTTP/1.1\r\n", "", "\r\n", "HTTP/1.1 OK fine\r\n", "200 OK\r\n"})
        EXPECT_FALSE(HTTP_ParseStatusLine(broken, version, code)) << broken;
}

TEST(HTTP_Reader, HeadersBecomeTheirClassesByTheStartOfTheLine) {
    HTTP_HeaderMap headers;
    ASSERT_TRUE(headersOf("Host: here\r\n"
                          "  connection-what: KEEP-alive\r\n"
                          "content-TYPE: TEXT/xml; charset=utf-8\r\n"
                          "Content-Length: 12\r\n"
                          "Content-Length:  34 bytes\r\n"
                          "Empty:\r\n"
                          "With Blank : v a l\r\n"
                          "\r\nrest",
                          headers));
    EXPECT_EQ(headers.size(), 7U);
    EXPECT_EQ(headers.find("Host")->second->getValue(), "here");
    EXPECT_EQ(headers.find("Empty")->second->getValue(), "");
    EXPECT_EQ(headers.find("With")->second->getValue(), "v a l");
    EXPECT_EQ(HTTP_LastHeader<HTTP_HeaderConnection>(headers)->getConnectionType(),
              HTTP_HeaderConnection::KEEP_ALIVE);
    EXPECT_EQ(HTTP_LastHeader<HTTP_HeaderContentType>(headers)->getContentType(), HTTP_CONTENT_TYPE_TEXT_XML);
    EXPECT_EQ(HTTP_LastHeader<HTTP_HeaderContentLength>(headers)->getContentLength(), 34U);
    EXPECT_EQ(HTTP_LastHeader<HTTP_HeaderUserAgent>(headers), nullptr);
}

TEST(HTTP_Reader, WhatIsNoHeaderFailsTheBlock) {
    EXPECT_TRUE(areHeaders("\r\n"));
    EXPECT_TRUE(areHeaders("\n"));
    EXPECT_TRUE(areHeaders("\rx"));
    EXPECT_TRUE(areHeaders("A: b\r\n\n"));
    for (const char* broken : {"", "A: b\r\n", "A: b\n\r\n", "A: b\rC: d\r\n\r\n", "no colon\r\n\r\n",
                               "   \r\n\r\n", "WWW-Authenticate: Nothing known\r\n\r\n"})
        EXPECT_FALSE(areHeaders(broken)) << broken;
}

TEST(HTTP_Reader, ContentLengthsOfAllKinds) {
    const struct {
        const char* text;
        unsigned long length;
    } cases[] = {{"0", 0},    {"007", 7},   {"-5", 0},  {"+5", 5},
                 {"junk", 0}, {"5junk", 5}, {"\t6", 6}, {"1000000000000", 1000000000000UL},
                 {"", 0}};
    for (const auto& row : cases) {
        HTTP_HeaderContentLength header;
        const std::string line = std::string("Content-Length: ") + row.text + "\r\n";
        ASSERT_TRUE(header.parse(&line)) << row.text;
        EXPECT_EQ(header.getContentLength(), row.length) << row.text;
    }
    HTTP_HeaderContentLength huge;
    const std::string line = "Content-Length: 99999999999999999999999999\r\n";
    ASSERT_TRUE(huge.parse(&line));
    EXPECT_GT(huge.getContentLength(), HTTP_BodyLimit);
}

TEST(HTTP_Reader, ABodyIsWhatItsLengthSays) {
    std::string body;
    MemoryInput whole("12345next", 4);
    ASSERT_TRUE(HTTP_ReadBody(whole, 5, noWait, body));
    EXPECT_EQ(body, "12345");
    EXPECT_EQ(whole.left(), "next");
    MemoryInput tooShort("1234");
    EXPECT_FALSE(HTTP_ReadBody(tooShort, 5, noWait, body));
    MemoryInput untouched("1234");
    EXPECT_FALSE(HTTP_ReadBody(untouched, HTTP_BodyLimit + 1, noWait, body));
    EXPECT_EQ(untouched.left(), "1234");

    MemoryInput lines("a\r\nb\n\nc\r");
    ASSERT_TRUE(HTTP_ReadBodyToEnd(lines, noWait, body));
    EXPECT_EQ(body, "abc");
}

TEST(HTTP_Reader, EndlessInputIsGivenUp) {
    const std::function<bool(Socket_Input&)> readHeaders = [](Socket_Input& input) {
        HTTP_HeaderMap headers;
        HTTP_HeadReader reader(input, noWait);
        const bool read = reader.readHeaders(headers);
        EXPECT_TRUE(headers.empty());
        return read;
    };
    constexpr std::size_t smallLimit = 1000000;
    const std::function<bool(Socket_Input&)> readToEnd = [](Socket_Input& input) {
        std::string body;
        return HTTP_ReadBodyToEnd(input, noWait, body, smallLimit);
    };
    const struct {
        const char* pattern;
        const std::function<bool(Socket_Input&)>& read;
        std::size_t limit;
    } cases[] = {
        {"a", readHeaders, HTTP_HeaderBlockLimit},
        // Small headers are charged for what is kept of them, so that they can't take many times their bytes.
        {"a:\r\n", readHeaders, HTTP_HeaderBlockLimit / 50},
        {"\r\n", readToEnd, smallLimit + 65536},
    };
    for (const auto& row : cases) {
        EndlessInput input(row.pattern);
        EXPECT_FALSE(row.read(input)) << row.pattern;
        EXPECT_LE(input.taken(), row.limit) << row.pattern;
        EXPECT_GE(input.taken(), row.limit / 4) << row.pattern;
    }
}
