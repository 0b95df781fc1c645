#include "base/String_Functions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string trimmed(std::string text) {
    EXPECT_TRUE(nxstrtrim(text.data()));
    return text.c_str();
}

} // namespace

TEST(Strings, TrimTakesBlanksOnlyAndCaseChangesInPlace) {
    EXPECT_EQ(trimmed("  a b  "), "a b");
    EXPECT_EQ(trimmed("    "), "");
    EXPECT_EQ(trimmed(""), "");
    EXPECT_EQ(trimmed("\t a \t"), "\t a \t");
    std::string text = "aZ0\xe9-z";
    EXPECT_STREQ(nxstrtoupr(text.data()), "AZ0\xe9-Z");
    EXPECT_STREQ(nxstrtolwr(text.data()), "az0\xe9-z");
}

TEST(Strings, HexadecimalTextOfEitherCaseWithOrWithoutPrefix) {
    for (const char* text : {"1F", "1f", "0x1F", "0X1f", "1FG2", "001f "})
        EXPECT_EQ(nxhtoi(text), 31U) << text;
    for (const char* text : {"", "0x", "x1", " 1", "G", "-1"})
        EXPECT_EQ(nxhtoi(text), 0U) << text;
    EXPECT_EQ(nxhtoi("0xFFFFFFFFFFFFFFFF"), 0xFFFFFFFFFFFFFFFFU);
    EXPECT_EQ(nxhtoi("120000000000000001"), 0x1U);
}

TEST(Strings, SubstringIncludesBothEnds) {
    char buffer[8] = "xxxxxxx";
    EXPECT_EQ(nxsubstr(buffer, "abcdef", 1, 3), buffer + 3);
    EXPECT_STREQ(buffer, "bcd");
    EXPECT_EQ(nxsubstr(buffer, "abcdef", 5, 5), buffer + 1);
    EXPECT_STREQ(buffer, "f");
    EXPECT_EQ(nxsubstr(buffer, "", 2, 4), buffer);
    EXPECT_STREQ(buffer, "");
}

TEST(Strings, NumericLooksAtTheFirstCharactersOnly) {
    EXPECT_TRUE(isStringNumeric("12a4", 2));
    EXPECT_FALSE(isStringNumeric("12a4", 3));
    EXPECT_FALSE(isStringNumeric("12", 3));
}

TEST(Strings, TokensAreNeverEmpty) {
    EXPECT_THAT(string2vector(" \tname  : sda\t\tvg ", " \t:"), ElementsAre("name", "sda", "vg"));
    EXPECT_THAT(string2vector("one", "\n"), ElementsAre("one"));
    EXPECT_THAT(string2vector("a b", ""), ElementsAre("a b"));
    EXPECT_THAT(string2vector("", ""), IsEmpty());
}

TEST(Strings, LastErrorNamesNumberAndText) {
    errno = ENOENT;
    EXPECT_EQ(nxGetLastErrorMessage(), "System error 2 No such file or directory");
    EXPECT_EQ(errno, ENOENT);
    errno = 0;
    EXPECT_EQ(nxGetLastErrorMessage(), "");
    EXPECT_EQ(nxitos(-2147483647 - 1), "-2147483648");
}
