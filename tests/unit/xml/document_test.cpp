#include "xml/Xerces_Document.h"

#include <gtest/gtest.h>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::vector<std::string> names(const std::vector<xercesc::DOMElement*>& elements) {
    std::vector<std::string> result;
    result.reserve(elements.size());
    for (const xercesc::DOMElement* element : elements)
        result.push_back(Xerces_TagName(*element) + Xerces_GetAttribute(*element, "n"));
    return result;
}

using Names = std::vector<std::string>;

TEST(XercesDocument, WalksInDocumentOrder) {
    const Xerces_DocumentPtr document = Xerces_Parse(
        "<r><a n='1'><b n='2'/>text<!-- a --><a n='3'><a n='4'/></a></a><b n='5'><a n='6'/></b></r>", "test");
    ASSERT_TRUE(document);
    const xercesc::DOMElement& root = *Xerces_Root(*document);
    EXPECT_EQ(names(Xerces_Descendants(root, "*")), (Names{"a1", "b2", "a3", "a4", "b5", "a6"}));
    EXPECT_EQ(names(Xerces_Descendants(root, "a")), (Names{"a1", "a3", "a4", "a6"}));
    EXPECT_EQ(names(Xerces_Descendants(root, "a", 2)), (Names{"a1", "a3"}));
    EXPECT_EQ(names(Xerces_Descendants(root, "r")), Names{});
    EXPECT_EQ(names(Xerces_ChildElements(root)), (Names{"a1", "b5"}));
    EXPECT_EQ(names(Xerces_ChildElements(root, "b")), (Names{"b5"}));

    // A walk ends with the element it began at.
    const xercesc::DOMElement* first = Xerces_FirstDescendant(root, "a");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(names(Xerces_Descendants(*first, "*")), (Names{"b2", "a3", "a4"}));
    EXPECT_EQ(Xerces_FirstDescendant(*first, "r"), nullptr);
}

TEST(XercesDocument, FirstTextIsThatOfTheFirstChildOfWhateverKind) {
    const Xerces_DocumentPtr document = Xerces_Parse(
        "<r><a>x&amp;<b/>y</a><a/><a><b>z</b></a><a><!--c-->t</a><a><![CDATA[<d>]]></a></r>", "test");
    ASSERT_TRUE(document);
    const std::vector<xercesc::DOMElement*> elements = Xerces_ChildElements(*Xerces_Root(*document));
    ASSERT_EQ(elements.size(), 5U);
    EXPECT_EQ(Xerces_FirstText(*elements[0]), "x&");
    EXPECT_EQ(Xerces_FirstText(*elements[1]), std::nullopt);
    EXPECT_EQ(Xerces_FirstText(*elements[2]), std::nullopt);
    EXPECT_EQ(Xerces_FirstText(*elements[3]), "c");
    EXPECT_EQ(Xerces_FirstText(*elements[4]), "<d>");
}

TEST(XercesDocument, BuildsAndReadsBack) {
    const Xerces_DocumentPtr document = Xerces_CreateDocument("root");
    xercesc::DOMElement& root = *Xerces_Root(*document);
    Xerces_SetAttribute(root, "a", "1");
    Xerces_SetAttribute(root, "a", "2");
    EXPECT_EQ(Xerces_GetAttribute(root, "a"), "2");
    EXPECT_EQ(Xerces_GetAttribute(root, "b"), "");
    Xerces_AppendText(Xerces_AppendElement(root, "child"), "text");
    EXPECT_EQ(Xerces_FirstText(*Xerces_FirstDescendant(root, "child")), "text");

    EXPECT_THROW(Xerces_CreateDocument("no name"), std::runtime_error);
    EXPECT_THROW(Xerces_AppendElement(root, "<"), std::runtime_error);
    EXPECT_THROW(Xerces_SetAttribute(root, "", "x"), std::runtime_error);
}

TEST(XercesDocument, ParsesFromASource) {
    const std::string text = "<r a='1'/>";
    const xercesc::MemBufInputSource good(reinterpret_cast<const XMLByte*>(text.data()), text.size(), u"");
    const Xerces_DocumentPtr document = Xerces_Parse(good);
    ASSERT_TRUE(document);
    EXPECT_EQ(Xerces_GetAttribute(*Xerces_Root(*document), "a"), "1");

    const xercesc::MemBufInputSource cut(reinterpret_cast<const XMLByte*>(text.data()), 4, u"");
    std::string reason;
    EXPECT_FALSE(Xerces_Parse(cut, &reason));
    EXPECT_EQ(reason.rfind("line 1, column ", 0), 0U) << reason;
}

TEST(XercesDocument, ReadsDeclaredEncodings) {
    const Xerces_DocumentPtr latin =
        Xerces_Parse("<?xml version='1.0' encoding='ISO-8859-1'?><r a='\xe9'/>", "test");
    ASSERT_TRUE(latin);
    EXPECT_EQ(Xerces_GetAttribute(*Xerces_Root(*latin), "a"), "\xc3\xa9");
    EXPECT_FALSE(Xerces_Parse("<?xml version='1.0' encoding='no-such'?><r/>", "test"));
}

} // namespace
