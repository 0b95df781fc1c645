#include "xml/Xerces_Text.h"
#include "xml/Xerces_XercesString.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

using namespace std::string_literals;

namespace {

std::u16string toUnits(std::string_view bytes) {
    std::u16string units(Xerces_MaximumUnits(bytes.size()) + 1, u'\0');
    units.resize(Xerces_ToUnits(bytes, units.data()));
    return units;
}

TEST(XercesText, ReadsUtf8AndMapsEveryOtherByte) {
    struct Case {
        std::string bytes;
        std::u16string units;
    };
    const Case cases[] = {
        {"", u""},
        {"plain \t\n\r\x7f", u"plain \t\n\r\x7f"},
        {"\xc3\xa9\xe2\x82\xac", u"\u00e9\u20ac"},
        {"\xf0\x9f\x98\x80", u"\U0001F600"},
        {"\xf4\x8f\xbf\xbf", u"\U0010FFFF"},
        {"\x01\x1f", u"\uef01\uef1f"},
        {"a\xff", u"a\uefff"},
        {"\xe9t\xe9", u"\uefe9t\uefe9"},                   // Latin-1
        {"\xc3", u"\uefc3"},                               // cut off
        {"\xe2\x82", u"\uefe2\uef82"},                     // cut off
        {"\xc0\xaf", u"\uefc0\uefaf"},                     // overlong "/"
        {"\xe0\x80\xaf", u"\uefe0\uef80\uefaf"},           // overlong "/"
        {"\xf0\x80\x80\xaf", u"\ueff0\uef80\uef80\uefaf"}, // overlong "/"
        {"\xed\xa0\x80", u"\uefed\uefa0\uef80"},           // surrogate
        {"\xf4\x90\x80\x80", u"\ueff4\uef90\uef80\uef80"}, // beyond U+10FFFF
        {"\xef\xbf\xbe", u"\uefef\uefbf\uefbe"},           // U+FFFE
        {"\xee\xbc\x80", u"\uefee\uefbc\uef80"},           // U+EF00 itself
        {"\xee\xbf\xbf", u"\uefee\uefbf\uefbf"},           // U+EFFF itself
        {"\xee\xbb\xbf\xef\x80\x80", u"\ueeff\uf000"},     // its neighbours
        {"\xbf", u"\uefbf"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(toUnits(c.bytes), c.units) << testing::PrintToString(c.bytes);
        EXPECT_EQ(Xerces_ToBytes(c.units), c.bytes) << testing::PrintToString(c.bytes);
    }
}

TEST(XercesText, NothingPlainHidesInTheMappedRange) {
    EXPECT_EQ(Xerces_ToBytes(u"\uef00"), "\xee\xbc\x80");
    EXPECT_EQ(Xerces_ToBytes(u"\uef2f"), "\xee\xbc\xaf"); // "/"
    EXPECT_EQ(Xerces_ToBytes(u"\uef0a"), "\xee\xbc\x8a"); // line feed
    EXPECT_EQ(Xerces_ToBytes(u"a\xd800z\xdc00"), "a\xef\xbf\xbdz\xef\xbf\xbd");
    EXPECT_EQ(toUnits("a\0b"s), u"a");
}

TEST(XercesText, OnTheWireOnlyWhatXmlCanCarry) {
    std::string out = "<";
    Xerces_AppendUtf8(out, u"a\u00e9\U0001F600\uef01\x01\xd800\ufffe\t");
    EXPECT_EQ(out, "<a\xc3\xa9\xf0\x9f\x98\x80\xee\xbc\x81\xee\xbc\x81\xef\xbf\xbd\xef\xbf\xbd\t");
}

TEST(XercesText, StringsOfEveryLength) {
    EXPECT_EQ(Xerces_XercesString(static_cast<const char*>(nullptr)).unicodeForm(), nullptr);
    for (const std::size_t length : {0U, 94U, 95U, 96U, 5000U})
        EXPECT_EQ(std::u16string(Xerces_XercesString(std::string(length, 'x')).unicodeForm()),
                  std::u16string(length, u'x'));
    char* bytes = nxTranscode(u"\u00e9\uefff");
    EXPECT_STREQ(bytes, "\xc3\xa9\xff");
    nxDeleteTranscode(bytes);
    EXPECT_EQ(nxTranscode(nullptr), nullptr);
    nxDeleteTranscode(nullptr);
}

} // namespace
