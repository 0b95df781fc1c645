// What a person and what a program gets to see of documents, whatever bytes are in them.

#include "qdvctl/Ctl_Render.h"
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

Ctl_Node element(std::string name, std::vector<std::pair<std::string, std::string>> attributes = {},
                 std::vector<Ctl_Node> children = {}) {
    return {std::move(name), {}, std::move(attributes), std::move(children)};
}

Ctl_Node text(std::string content) {
    return {{}, std::move(content), {}, {}};
}

const std::vector<Ctl_Node>& sample() {
    static const std::vector<Ctl_Node> nodes{
        text("\n  "),
        element("Agent", {{"product", "VRK"}, {"type", "Linux"}}),
        element("Drive", {{"name", "/dev/sda"}, {"bytes", "5"}}),
        element("Drive", {{"name", "\xC3\xA4"}, {"model", "evil\x1B[2J"}}, {text("  spare ")}),
        element("Drive", {{"name", "/dev/sdb"}}, {element("Partition", {{"no", "1"}})}),
        Ctl_TextElement("Note", "one"),
        Ctl_TextElement("Note", "two\nlines\x1B"),
        element("Empty"),
    };
    return nodes;
}

TEST(RenderText, ShowsBlocksTablesAndTexts) {
    EXPECT_EQ(Ctl_RenderText(sample()), "Agent\n"
                                        "  product  VRK\n"
                                        "  type     Linux\n"
                                        "Drive\n"
                                        "  name      bytes  model        (text)\n"
                                        "  /dev/sda  5\n"
                                        "  \xC3\xA4                evil\\x1b[2J  spare\n"
                                        "Drive\n"
                                        "  name  /dev/sdb\n"
                                        "  Partition\n"
                                        "    no  1\n"
                                        "Note: one\n"
                                        "Note:\n"
                                        "  two\n"
                                        "  lines\\x1b\n"
                                        "Empty\n");
    EXPECT_EQ(Ctl_RenderText({Ctl_TextElement("A", "b")}, 4), "    A: b\n");
    EXPECT_EQ(Ctl_RenderText({}), "");
}

TEST(RenderText, MakesNoTableOfElementsThatHaveLittleInCommon) {
    std::vector<Ctl_Node> nodes;
    for (int i = 0; i < 3000; ++i)
        nodes.push_back(element("E", {{"a" + std::to_string(i), "v"}}));
    const std::string shown = Ctl_RenderText(nodes);
    EXPECT_TRUE(shown.starts_with("E\n  a0  v\nE\n  a1  v\n"));
    EXPECT_LT(shown.size(), 100000U);
}

TEST(RenderJson, KeepsEverythingOnOneLine) {
    EXPECT_EQ(
        Ctl_RenderJson({{"response", "success"}, {"we\"ird", ""}}, sample()),
        R"({"response":"success","we\"ird":"","elements":[)"
        R"({"element":"Agent","attributes":{"product":"VRK","type":"Linux"}},)"
        R"({"element":"Drive","attributes":{"name":"/dev/sda","bytes":"5"}},)"
        "{\"element\":\"Drive\",\"attributes\":{\"name\":\"\xC3\xA4\",\"model\":\"evil\\u001b[2J\"},"
        R"("text":"spare"},)"
        R"({"element":"Drive","attributes":{"name":"/dev/sdb"},)"
        R"("elements":[{"element":"Partition","attributes":{"no":"1"}}]},)"
        R"({"element":"Note","text":"one"},{"element":"Note","text":"two\nlines\u001b"},{"element":"Empty"}]})");
    EXPECT_EQ(Ctl_RenderJson({}, {}), R"({"elements":[]})");
}

} // namespace
