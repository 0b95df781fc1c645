#include "xml/Xerces_Document.h"
#include "xml/Xerces_Memory.h"
#include "xml/Xerces_Parser.h"

#include <gtest/gtest.h>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>

#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

std::string repeated(std::string_view text, std::size_t times) {
    std::string result;
    result.reserve(text.size() * times);
    for (std::size_t i = 0; i < times; ++i)
        result += text;
    return result;
}

std::string refusalOf(std::string_view text) {
    std::string reason;
    EXPECT_FALSE(Xerces_Parse(text, "test", &reason)) << text.substr(0, 100);
    return reason;
}

TEST(XercesHostile, DepthEndsAtTheLimit) {
    const std::string deepest = repeated("<a>", Xerces_MaximumDepth) + repeated("</a>", Xerces_MaximumDepth);
    EXPECT_TRUE(Xerces_Parse(deepest, "test"));
    EXPECT_EQ(refusalOf("<a>" + deepest + "</a>"), "elements are nested too deep");
    // Depth, not the number of elements, is what counts, also for elements without content.
    EXPECT_TRUE(Xerces_Parse("<r>" + repeated("<a/><b></b><a/>", Xerces_MaximumDepth) + "</r>", "test"));
}

/// Wherever in a document the memory ends, there is neither a crash nor a leak nor a torn document. What the
/// library sets up before the first element is left out: it leaks from its own constructors.
TEST(XercesHostile, MemoryEndsAtTheLimitWhereverThatIs) {
    const std::string text =
        "<r>" + repeated("<b c='2' d='3'>text &amp; more</b><!-- c --><?p i?><![CDATA[x]]>", 300) + "</r>";
    const std::string whole = Xerces_Serialize(*Xerces_Parse(text, "test"));
    const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), u"");
    int refused = 0;
    int passed = 0;
    for (std::size_t limit = 400'000; passed < 3; limit += 1'009) {
        Xerces_Parser parser;
        const Xerces_DocumentPtr document = [&] {
            const Xerces_MemoryLimit tight(limit);
            return parser.run(source, nullptr);
        }();
        if (document) {
            ++passed;
            EXPECT_EQ(Xerces_Serialize(*document), whole);
        } else {
            ++refused;
        }
    }
    EXPECT_GT(refused, 100);
}

TEST(XercesHostile, MemoryForADocumentIsBounded) {
    for (const std::string& content : {repeated("<a/>", 20'000), repeated("<!---->", 20'000),
                                       repeated("<a b=''/>", 20'000), std::string(2'000'000, 'x')}) {
        const std::string text = "<r>" + content + "</r>";
        EXPECT_TRUE(Xerces_Parse(text, "test")) << "large, but honest";
        const Xerces_MemoryLimit tight(2'500'000);
        EXPECT_EQ(refusalOf(text), "the document takes too much memory") << text.substr(0, 20);
    }
}

TEST(XercesHostile, ThreadsParseAndWriteAtOnce) {
    std::vector<std::jthread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([number] {
            const std::string good = "<r n='" + std::to_string(number) + "'><a/>text</r>";
            for (int i = 0; i < 200; ++i) {
                const Xerces_DocumentPtr document = Xerces_Parse(good, "test");
                ASSERT_TRUE(document);
                EXPECT_EQ(Xerces_GetAttribute(*Xerces_Root(*document), "n"), std::to_string(number));
                const Xerces_DocumentPtr copy = Xerces_Parse(Xerces_Serialize(*document), "test");
                ASSERT_TRUE(copy);
                EXPECT_EQ(Xerces_Serialize(*copy), Xerces_Serialize(*document));
                EXPECT_FALSE(Xerces_Parse(i % 2 == 0 ? "<r><a></r>" : "<!DOCTYPE r><r/>", "test"));
            }
        });
    }
}

} // namespace
