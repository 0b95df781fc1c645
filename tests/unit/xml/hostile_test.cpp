#include "xml/Xerces_Document.h"
#include "xml/Xerces_Memory.h"
#include "xml/Xerces_Parser.h"

#include <gtest/gtest.h>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>

#include <ctime>
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

std::string nested(std::size_t depth) {
    return repeated("<a>", depth) + repeated("</a>", depth);
}

/// The processor time of this thread, so that a busy machine does not count.
double secondsOfWork() {
    std::timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

std::string refusalOf(std::string_view text) {
    std::string reason;
    EXPECT_FALSE(Xerces_Parse(text, "test", &reason)) << text.substr(0, 100);
    return reason;
}

TEST(XercesHostile, TextThatIsNoDocumentIsRefusedWithAReason) {
    const std::string_view texts[] = {
        "",
        " ",
        "junk",
        "<",
        "<r",
        "<r>",
        "<r></s>",
        "<r/><r/>",
        "<r/>junk",
        "<r a='1' a='2'/>",
        "<r a=1/>",
        "<r>&undeclared;</r>",
        "<r a='&undeclared;'/>",
        "<r a='\x01'/>",
        "<r>\xff</r>",
        "<r>&#0;</r>",
        "<r>&#1;</r>",
        "<r>&#xD800;</r>",
        "<r>\xed\xa0\x80</r>",
        "<r><![CDATA[</r>",
        "<r><!-- -- --></r>",
    };
    for (const std::string_view text : texts)
        EXPECT_NE(refusalOf(text), "") << text;
}

TEST(XercesHostile, ADoctypeIsRefusedWhateverItHolds) {
    const std::string_view texts[] = {
        "<!DOCTYPE r><r/>",
        "<!DOCTYPE r [<!ENTITY a 'b'>]><r>&a;</r>",
        "<!DOCTYPE r SYSTEM 'file:///etc/passwd'><r/>",
        "<!DOCTYPE r PUBLIC 'x' 'http://127.0.0.1:1/x'><r/>",
        "<!DOCTYPE r [<!ENTITY a SYSTEM 'file:///etc/passwd'>]><r>&a;</r>",
        "<!DOCTYPE r [<!ENTITY % p SYSTEM 'file:///etc/passwd'>%p;]><r/>",
    };
    for (const std::string_view text : texts)
        EXPECT_NE(refusalOf(text), "") << text;
    // The next document has nothing of it.
    EXPECT_TRUE(Xerces_Parse("<r/>", "test"));
}

TEST(XercesHostile, DepthEndsAtTheLimit) {
    EXPECT_TRUE(Xerces_Parse(nested(Xerces_MaximumDepth), "test"));
    EXPECT_EQ(refusalOf(nested(Xerces_MaximumDepth + 1)), "elements are nested too deep");
    // Depth, not the number of elements, is what counts, also for elements without content.
    EXPECT_TRUE(Xerces_Parse("<r>" + repeated("<a/><b></b><a/>", Xerces_MaximumDepth) + "</r>", "test"));
}

TEST(XercesHostile, BombsCostNoTime) {
    std::string laughs = "<!DOCTYPE r [<!ENTITY a0 'lol'>";
    for (int i = 1; i < 30; ++i) {
        const std::string before = "&a" + std::to_string(i - 1) + ";";
        laughs += "<!ENTITY a" + std::to_string(i) + " '" + repeated(before, 10) + "'>";
    }
    laughs += "]><r>&a29;</r>";
    std::string attributes = "<r";
    std::string elements = "<r>";
    std::string spread = "<r>";
    for (int i = 0; i < 100'000; ++i) {
        const std::string name = "n" + std::to_string(i);
        attributes += " " + name + "=''";
        elements += "<" + name + "/>";
        spread += "<e " + name + "=''/>";
    }
    const std::string bombs[] = {
        laughs,
        repeated("<a>", 1'000'000),
        repeated("<a b='", 1'000'000),
        attributes + "/>",
        elements + "</r>",
        spread + "</r>",
    };
    for (const std::string& bomb : bombs) {
        const double start = secondsOfWork();
        EXPECT_NE(refusalOf(bomb), "");
        // Generous for a sanitizer; unbounded, most of these take from half a minute to hours.
        EXPECT_LT(secondsOfWork() - start, 8) << bomb.substr(0, 40);
    }
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
    std::string attributes = "<r";
    for (int i = 0; i < 40'000; ++i)
        attributes += " n" + std::to_string(i) + "=''";
    const std::string texts[] = {
        "<r>" + repeated("<a/>", 20'000) + "</r>",
        "<r>" + repeated("<!---->", 20'000) + "</r>",
        "<r>" + std::string(2'000'000, 'x') + "</r>",
        attributes + "/>",
    };
    for (const std::string& text : texts) {
        const Xerces_MemoryLimit tight(2'500'000);
        EXPECT_EQ(refusalOf(text), "the document takes too much memory") << text.substr(0, 20);
    }
}

TEST(XercesHostile, LargeHonestDocumentsPass) {
    const std::string text(500'000, 'x');
    const Xerces_DocumentPtr document = Xerces_Parse(
        "<r>" + repeated("<f name='n' size='1' owner='o'/>", 30'000) + "<t>" + text + "</t></r>", "test");
    ASSERT_TRUE(document);
    EXPECT_EQ(Xerces_Descendants(*Xerces_Root(*document), "f").size(), 30'000U);
    EXPECT_EQ(Xerces_FirstText(*Xerces_FirstDescendant(*Xerces_Root(*document), "t")), text);
}

TEST(XercesHostile, ThreadsParseAndWriteAtOnce) {
    constexpr int count = 4;
    std::vector<std::thread> threads;
    threads.reserve(count);
    for (int number = 0; number < count; ++number) {
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
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
