// What a person and what a program gets to see of documents, whatever bytes are in them.

#include "qdvctl/Ctl_Text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

namespace {

TEST(Printable, SpellsOutWhateverCouldSteerATerminalOrDeceiveItsReader) {
    const struct {
        std::string text;
        std::string shown;
    } cases[] = {
        {"plain \xC3\xA4 \xE6\xBC\xA2 \xF0\x9F\x98\x80", "plain \xC3\xA4 \xE6\xBC\xA2 \xF0\x9F\x98\x80"},
        {"\x1B]0;title\a", "\\x1b]0;title\\x07"},
        {std::string("a\0b\x7F", 4), "a\\x00b\\x7f"},
        {"a\nb\tc\r", "a\\x0ab\\x09c\\x0d"},
        {"\xC2\x9B[m", "\\x9b[m"},                    // C1 control as a character
        {"\x9B[m", "\\x9b[m"},                        // and as a bare byte
        {"\xE2\x80\xAEgpj", "\\u202egpj"},            // right-to-left override
        {"\xE2\x80\xA8x", "\\u2028x"},                // line separator
        {"a\xC2\xADz", "a\\u00adz"},                  // soft hyphen, which is not seen
        {"\xEF\xBB\xBFx", "\\ufeffx"},                // zero width
        {"\xF3\xA0\x81\x81", "\\U000e0041"},          // tag character
        {"\xC0\x80", "\\xc0\\x80"},                   // longer than need be
        {"\xE0\x80\xAF", "\\xe0\\x80\\xaf"},          //
        {"\xED\xA0\x80", "\\xed\\xa0\\x80"},          // surrogate
        {"\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"}, // beyond Unicode
        {"\xE2\x82", "\\xe2\\x82"},                   // cut short
        {"\xFFok", "\\xffok"},
    };
    for (const auto& [text, shown] : cases)
        EXPECT_EQ(Ctl_Printable(text), shown);
    EXPECT_EQ(Ctl_PrintableLines("a\nb\tc\r"), "a\nb\tc\\x0d");
}

TEST(Printable, LetsNoControlByteThroughInAnyText) {
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        for (int i = 0; i < 40; ++i)
            text += static_cast<char>(random());
        for (const char byte : Ctl_Printable(text))
            ASSERT_TRUE(static_cast<unsigned char>(byte) >= 0x20 && byte != 0x7F);
        for (const char byte : Ctl_JsonString(text))
            ASSERT_TRUE(static_cast<unsigned char>(byte) >= 0x20 && byte != 0x7F);
    }
}

TEST(Json, EscapesWhatJsonAndTerminalsCannotCarry) {
    EXPECT_EQ(Ctl_JsonString("a\"b\\c\n\t/"), R"("a\"b\\c\n\u0009/")");
    EXPECT_EQ(Ctl_JsonString("\xC3\xA4\xF0\x9F\x98\x80"), "\"\xC3\xA4\xF0\x9F\x98\x80\"");
    EXPECT_EQ(Ctl_JsonString("\xFF\xC2\x9B\xE2\x80\xAE"), R"("\uefff\u009b\u202e")");
    EXPECT_EQ(Ctl_JsonString("\xF3\xA0\x81\x81"), R"("\udb40\udc41")");
}

} // namespace
