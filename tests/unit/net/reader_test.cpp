#include "MemoryInput.h"
#include "net/HTTP_Reader.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

namespace {

constexpr unsigned noWait = 1;

std::optional<std::string> lineOf(MemoryInput& input) {
    HTTP_HeadReader reader(input, noWait);
    if (!reader.readLine())
        return std::nullopt;
    return reader.line().asString();
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
        const char* left; ///< null where the stream ends inside the line
    } cases[] = {
        {"a\r\nb", "a\r\n", "b"},
        {"a\nb", "a\n", "b"},
        {"a\rb", "a\r", "b"},
        {"\r\r\n", "\r", "\r\n"},
        {"\r\nx", "\r\n", "x"},
        {"no end", std::nullopt, nullptr},
        {"cr at the end\r", std::nullopt, nullptr},
        {"", std::nullopt, nullptr},
    };
    for (const auto& row : cases) {
        for (const std::size_t piece : {1, 2, 100}) {
            MemoryInput input(row.text, piece);
            EXPECT_EQ(lineOf(input), row.line) << row.text << " in pieces of " << piece;
            EXPECT_TRUE(row.left == nullptr || input.left() == row.left)
                << row.text << " in pieces of " << piece << " leaves " << input.left();
        }
    }
}

TEST(HTTP_Reader, TheLastHeaderOfAClassCounts) {
    MemoryInput input("Content-Length: 12\r\nWith Blank : v a l\r\nContent-Length:  34 bytes\r\n\r\nrest", 7);
    HTTP_HeaderMap headers;
    ASSERT_TRUE(HTTP_HeadReader(input, noWait).readHeaders(headers));
    EXPECT_EQ(headers.size(), 3U);
    EXPECT_EQ(headers.find("With")->second->getValue(), "v a l");
    EXPECT_EQ(HTTP_LastHeader<HTTP_HeaderContentLength>(headers)->getContentLength(), 34U);
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
        Secret_Text body;
        Memory_Share share;
        return HTTP_ReadBodyToEnd(input, noWait, body, share, smallLimit);
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
