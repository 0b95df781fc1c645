#include "base/Base64.h"
#include "base/MD5.h"
#include "base/String_Functions.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

std::string encoded(const std::string& text) {
    std::string out = "old";
    EXPECT_TRUE(encodeBase64(&text, &out));
    return out;
}

std::string decoded(const std::string& text, bool whole = true) {
    std::string out = "old";
    EXPECT_EQ(decodeBase64(&text, &out), whole) << text;
    return out;
}

std::string md5(const std::string& text, unsigned piece) {
    MD5 digest;
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    for (std::size_t at = 0; at < text.size(); at += piece)
        digest.update(bytes + at, static_cast<unsigned>(std::min<std::size_t>(piece, text.size() - at)));
    digest.finalize();
    digest.update(bytes, static_cast<unsigned>(text.size())); // comes too late
    const std::unique_ptr<char[]> hex(digest.hex_digest());
    const std::unique_ptr<unsigned char[]> raw(digest.raw_digest());
    EXPECT_EQ(nxhtoi(std::string(hex.get(), 2).c_str()), raw[0]);
    EXPECT_EQ(nxhtoi(hex.get() + 30), raw[15]);
    return hex.get();
}

} // namespace

TEST(Base64, PadsAndUnpads) {
    const struct {
        const char* text;
        const char* code;
    } cases[] = {{"", ""},
                 {"f", "Zg=="},
                 {"fo", "Zm8="},
                 {"foo", "Zm9v"},
                 {"foobar", "Zm9vYmFy"},
                 {"user:\xff\xfe", "dXNlcjr//g=="},
                 {"\xfb\xef\xbe", "++++"}};
    for (const auto& c : cases) {
        EXPECT_EQ(encoded(c.text), c.code);
        EXPECT_EQ(decoded(c.code), c.text);
    }
}

TEST(Base64, EndsAGroupAtAZeroByteAndSkipsWhatIsNoDigit) {
    EXPECT_EQ(encoded(std::string("a\0bcde\0fg", 9)), "YQ==Y2Rl");
    EXPECT_EQ(decoded("YQBiY2Rl"), "acde");
    EXPECT_EQ(decoded("Zm 9v\r\nYm-Fy\xff"), "foobar");
    EXPECT_EQ(decoded(std::string("Zm\x00", 3) + "9v"), "foo");
    EXPECT_EQ(decoded("Zm9vYmF", false), "foo");
    EXPECT_EQ(decoded("Z", false), "");
}

/// Among them the lengths where the padding fills its block or needs another.
TEST(MD5, GivesTheDigestsOfTheStandard) {
    const struct {
        std::string text;
        const char* digest;
    } cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {std::string(55, 'a'), "ef1772b6dff9a122358552954ad0df65"},
        {std::string(56, 'a'), "3b0c8ac703f828b04c6c197006d17218"},
        {std::string(63, 'a'), "b06521f39153d618550606be297466d5"},
        {std::string(64, 'a'), "014842d480b571495a4a0363793f7367"},
        {std::string(120, 'a'), "5f61c0ccad4cac44c75ff505e1f1e537"},
    };
    for (const auto& c : cases)
        for (const unsigned piece : {1U, 7U, 1000U})
            EXPECT_EQ(md5(c.text, piece), c.digest) << c.text;
}
