#include "xml/Xerces_Document.h"
#include "xml/Xerces_XercesDOM.h"

#include <gtest/gtest.h>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

const std::string declaration = R"(<?xml version="1.0" encoding="UTF-8" standalone="no" ?>)";

std::string byLibrary(const xercesc::DOMDocument& document, const char16_t* encoding = u"UTF-8") {
    Xerces_XercesDOM dom;
    dom.setEncodingSchema(encoding);
    char* buffer = nullptr;
    unsigned length = 0;
    EXPECT_TRUE(dom.serialize(buffer, length, &document));
    const std::unique_ptr<char[]> owned(buffer);
    EXPECT_EQ(buffer[length], '\0');
    return {buffer, length};
}

TEST(XercesSerialize, WritesWhatTheLibraryWouldWrite) {
    const std::string texts[] = {
        "<r/>",
        "<r></r>",
        "<r><a/>t<b>u</b>v<c x='1'><d/></c></r>",
        "<r z='1' b='&lt;&gt;&amp;&quot;&apos;&#9;&#10;&#13;' a=\"'\"/>",
        "<r>&lt;&gt;&amp;\"'&#9;&#10;&#13;]]&gt;</r>",
        "<!--before--><?pi some data?><r><!--in--><?pi?><![CDATA[<&>]]></r><!--after-->",
        "<r \xc3\xa9='\xf0\x9f\x98\x80'>\xe2\x82\xac\xc2\x85\xe2\x80\xa8</r>",
    };
    for (const std::string& text : texts) {
        const Xerces_DocumentPtr document = Xerces_Parse(text, "test");
        ASSERT_TRUE(document) << text;
        EXPECT_EQ(Xerces_Serialize(*document), byLibrary(*document)) << text;
    }
}

TEST(XercesSerialize, EveryTextSurvivesTheWire) {
    std::mt19937 random(20240611); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same texts every time
    // Bytes that open, continue and end sequences, and those of the mapped range, are drawn more often.
    const std::string telling = "\xc3\xe0\xe2\xed\xee\xef\xf0\xf4\xbc\xbf\x80\xa0\x9f\x01/a";
    std::vector<std::string> texts(50'000);
    const Xerces_DocumentPtr document = Xerces_CreateDocument("r");
    for (std::string& text : texts) {
        for (unsigned length = 1 + random() % 12; text.size() < length;)
            text += random() % 2 == 0 ? static_cast<char>(1 + random() % 255)
                                      : telling[random() % telling.size()];
        xercesc::DOMElement& element = Xerces_AppendElement(*Xerces_Root(*document), "e");
        Xerces_SetAttribute(element, "a", text);
        Xerces_AppendText(element, text);
    }
    const Xerces_DocumentPtr read = Xerces_Parse(Xerces_Serialize(*document), "test");
    ASSERT_TRUE(read);
    const auto elements = Xerces_ChildElements(*Xerces_Root(*read));
    ASSERT_EQ(elements.size(), texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        ASSERT_EQ(Xerces_GetAttribute(*elements[i], "a"), texts[i]) << testing::PrintToString(texts[i]);
        ASSERT_EQ(Xerces_FirstText(*elements[i]), texts[i]) << testing::PrintToString(texts[i]);
    }
}

TEST(XercesSerialize, NothingXmlCannotCarryGetsOut) {
    // Such a document can be read, but not be written as the version that every document goes out in.
    const Xerces_DocumentPtr document = Xerces_Parse("<?xml version='1.1'?><r a='&#1;'>&#2;</r>", "test");
    ASSERT_TRUE(document);
    const Xerces_DocumentPtr again = Xerces_Parse(Xerces_Serialize(*document), "test");
    ASSERT_TRUE(again);
    EXPECT_EQ(Xerces_GetAttribute(*Xerces_Root(*again), "a"), "\x01");
    EXPECT_EQ(Xerces_FirstText(*Xerces_Root(*again)), "\x02");
}

TEST(XercesSerialize, DocumentsOfAnyLengthAndDepthComeOutWhole) {
    for (const std::size_t length : {0U, 1023U, 1024U, 100'000U}) {
        const Xerces_DocumentPtr document = Xerces_CreateDocument("r");
        Xerces_AppendText(*Xerces_Root(*document), std::string(length, 'x'));
        const std::string expected = declaration + "<r>" + std::string(length, 'x') + "</r>";
        EXPECT_EQ(Xerces_Serialize(*document), expected);
        EXPECT_EQ(byLibrary(*document), expected);
    }
    constexpr std::size_t depth = 200'000;
    const Xerces_DocumentPtr deep = Xerces_CreateDocument("r");
    xercesc::DOMElement* element = Xerces_Root(*deep);
    for (std::size_t i = 0; i < depth; ++i)
        element = &Xerces_AppendElement(*element, "e");
    EXPECT_EQ(Xerces_Serialize(*deep).size(), declaration.size() + 7 + (depth - 1) * 7 + 4);
    EXPECT_EQ(Xerces_Descendants(*Xerces_Root(*deep), "e").size(), depth);
}

TEST(XercesSerialize, TheLibrarysMakerKeepsItsPromises) {
    Xerces_XercesDOM dom(nullptr);
    EXPECT_EQ(dom.createDocument(nullptr, u"not a name", nullptr), nullptr);
    const Xerces_DocumentPtr document(dom.createDocument(nullptr, u"r", nullptr));
    ASSERT_TRUE(document);
    EXPECT_FALSE(dom.serialize(nullptr, *document));
    Xerces_AppendText(*Xerces_Root(*document), "\xc3\xa9");
    EXPECT_NE(byLibrary(*document, u"ISO-8859-1").find("<r>\xe9</r>"), std::string::npos);
}

} // namespace
