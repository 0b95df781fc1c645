#include "xml/Xerces_Document.h"

#include <gtest/gtest.h>
#include <xercesc/dom/DOMElement.hpp>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::string names(const std::vector<xercesc::DOMElement*>& elements) {
    std::string result;
    for (const xercesc::DOMElement* element : elements)
        result += Xerces_TagName(*element) + Xerces_GetAttribute(*element, "n") + ' ';
    return result;
}

TEST(XercesDocument, WalksInDocumentOrder) {
    const Xerces_DocumentPtr document = Xerces_Parse(
        "<r><a n='1'><b n='2'/>text<!-- a --><a n='3'><a n='4'/></a></a><b n='5'><a n='6'/></b></r>", "test");
    ASSERT_TRUE(document);
    const xercesc::DOMElement& root = *Xerces_Root(*document);
    EXPECT_EQ(names(Xerces_Descendants(root, "*")), "a1 b2 a3 a4 b5 a6 ");
    EXPECT_EQ(names(Xerces_Descendants(root, "a")), "a1 a3 a4 a6 ");
    EXPECT_EQ(names(Xerces_Descendants(root, "a", 2)), "a1 a3 ");
    EXPECT_EQ(names(Xerces_Descendants(root, "r")), "");
    EXPECT_EQ(names(Xerces_ChildElements(root)), "a1 b5 ");
    EXPECT_EQ(names(Xerces_ChildElements(root, "b")), "b5 ");
    // A walk ends with the element it began at.
    EXPECT_EQ(names(Xerces_Descendants(*Xerces_FirstDescendant(root, "a"), "*")), "b2 a3 a4 ");
}

TEST(XercesDocument, FirstTextIsThatOfTheFirstChildOfWhateverKind) {
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {"<a>x&amp;<b/>y</a>", "x&"},      {"<a/>", std::nullopt},
        {"<a><b>z</b></a>", std::nullopt}, {"<a><!--c-->t</a>", "c"},
        {"<a><![CDATA[<d>]]></a>", "<d>"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(Xerces_FirstText(*Xerces_Root(*Xerces_Parse(text, "test"))), expected) << text;
}

TEST(XercesDocument, RefusesNamesThatAreNone) {
    const Xerces_DocumentPtr document = Xerces_CreateDocument("root");
    EXPECT_THROW(Xerces_CreateDocument("no name"), std::runtime_error);
    EXPECT_THROW(Xerces_AppendElement(*Xerces_Root(*document), "<"), std::runtime_error);
    EXPECT_THROW(Xerces_SetAttribute(*Xerces_Root(*document), "", "x"), std::runtime_error);
}

} // namespace
