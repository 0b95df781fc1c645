#include "net/HTTP_Reader.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

constexpr unsigned noWait = 1;

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

TEST(HTTP_Reader, AnEndlessBodyIsGivenUp) {
    constexpr std::size_t limit = 1000000;
    EndlessInput input("\r\n");
    Secret_Text body;
    Memory_Share share;
    EXPECT_FALSE(HTTP_ReadBodyToEnd(input, noWait, body, share, limit));
    EXPECT_LE(input.taken(), limit + 65536);
    EXPECT_GE(input.taken(), limit / 4);
}

TEST(HTTP_Reader, AnEndlessLineIsCountedAndGivenUp) {
    EndlessInput input("x");
    Memory_Share share;
    EXPECT_FALSE(HTTP_HeadReader(input, noWait, share).readLine());
    EXPECT_LE(input.taken(), HTTP_HeaderBlockLimit);
    EXPECT_GE(share.size(), input.taken());
}
