#include "actions/AgentActions_Script.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Pieces = std::vector<std::string_view>;

const std::string header = "# BEGIN_JOB_SCRIPT_HEADER";
const std::string headerEnd = "# END_JOB_SCRIPT_HEADER";
const std::string object = "# BEGIN_OBJECT_SCRIPT";
const std::string objectEnd = "# END_OBJECT_SCRIPT";
const std::string emptyHeader = header + headerEnd;

/// No pieces for a script that is refused, which no accepted one has.
Pieces piecesOf(const std::string& script) {
    return AgentActions_SegmentScript(script).value_or(Pieces());
}

TEST(Script, PiecesComeInOrderWithTheRestOfTheirMarkersLine) {
    const std::string script = "#!/bin/sh\nleft out\n" + header + " rest\r\necho h\r\n" + headerEnd +
                               " left out\n" + object + "\necho 1\n" + objectEnd + object + "2" + objectEnd +
                               "\nleft out";
    EXPECT_EQ(piecesOf(script), (Pieces{" rest\r\necho h\r\n", "\necho 1\n", "2"}));
}

TEST(Script, WithoutWholeHeaderThereIsNothing) {
    const std::string objects = object + "1" + objectEnd;
    for (const std::string& script : {std::string(), objects, header + objects, headerEnd + objects})
        EXPECT_FALSE(AgentActions_SegmentScript(script)) << script;
    EXPECT_EQ(piecesOf(emptyHeader), Pieces{""});
}

TEST(Script, MarkersWithoutPartner) {
    const std::string first = object + "1" + objectEnd;
    EXPECT_EQ(piecesOf(emptyHeader + first + object + "2" + object + "3"), (Pieces{"", "1"}));
    const std::string nested = "2" + object + "3";
    EXPECT_EQ(piecesOf(emptyHeader + object + nested + objectEnd), (Pieces{"", nested}));
    EXPECT_EQ(piecesOf(first + emptyHeader + first), (Pieces{"", "1"}));
    const std::string hidden = "h" + first;
    EXPECT_EQ(piecesOf(header + hidden + headerEnd + first), (Pieces{hidden, "1"}));
}

TEST(Script, EndBeforeBeginLeavesAnEmptyPiece) {
    const std::string first = object + "1" + objectEnd;
    EXPECT_EQ(piecesOf(headerEnd + first + header), (Pieces{"", "1"}));
    EXPECT_EQ(piecesOf(emptyHeader + objectEnd + "x" + first), (Pieces{"", "", "1"}));
}

/// Were each end marker to cost a walk over the script, this would outlast the time that a test has.
TEST(Script, HugeScriptsTakeTimeInProportion) {
    constexpr std::size_t many = 500'000;
    const std::string big(std::size_t(4) << 20, '#');
    EXPECT_EQ(piecesOf(header + big + headerEnd + object + big), Pieces{big});

    std::string pairs = emptyHeader;
    std::string ends = emptyHeader;
    for (std::size_t i = 0; i < many; ++i) {
        pairs.append(object).append(std::to_string(i)).append(objectEnd);
        ends += objectEnd;
    }
    const Pieces pieces = piecesOf(pairs);
    ASSERT_EQ(pieces.size(), many + 1);
    EXPECT_EQ(pieces.back(), std::to_string(many - 1));
    EXPECT_EQ(piecesOf(ends + object).size(), many + 1);
}

} // namespace
