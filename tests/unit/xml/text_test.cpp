#include "xml/Xerces_Text.h"
#include "xml/Xerces_XercesString.h"

#include <gtest/gtest.h>

#include <clocale>
#include <random>
#include <string>
#include <string_view>

using namespace std::string_literals;

namespace {

std::u16string toUnits(std::string_view bytes) {
    std::u16string units(Xerces_MaximumUnits(bytes.size()) + 1, u'\0');
    units.resize(Xerces_ToUnits(bytes, units.data()));
    return units;
}

std::string roundTrip(std::string_view bytes) {
    return Xerces_ToBytes(toUnits(bytes));
}

/// Whether XML 1.0 can carry it, by the production Char of the recommendation.
bool carriesAll(std::u16string_view units) {
    for (std::size_t i = 0; i < units.size(); ++i) {
        const char16_t c = units[i];
        if (c >= 0xD800 && c < 0xDC00 && i + 1 < units.size() && units[i + 1] >= 0xDC00 &&
            units[i + 1] < 0xE000)
            ++i;
        else if (!(c == 9 || c == 10 || c == 13 || (c >= 0x20 && c < 0xD800) || (c >= 0xE000 && c < 0xFFFE)))
            return false;
    }
    return true;
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

TEST(XercesText, ComesBackAsItWas) {
    std::mt19937 random(20240611); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same texts every time
    // Bytes that open, continue and end sequences, and those of the mapped range, are drawn more often.
    const std::string telling = "\xc3\xe0\xe2\xed\xee\xef\xf0\xf4\xbc\xbf\x80\xa0\x9f\x01/a"s;
    std::string bytes;
    for (int round = 0; round < 200'000; ++round) {
        bytes.clear();
        for (unsigned length = random() % 12; bytes.size() < length;) {
            const auto any = static_cast<char>(1 + random() % 255);
            bytes += random() % 2 == 0 ? any : telling[random() % telling.size()];
        }
        const std::u16string units = toUnits(bytes);
        ASSERT_EQ(Xerces_ToBytes(units), bytes) << testing::PrintToString(bytes);
        ASSERT_TRUE(carriesAll(units)) << testing::PrintToString(bytes);
    }
    for (unsigned first = 1; first < 256; ++first) {
        for (unsigned second = 1; second < 256; ++second) {
            const std::string pair{static_cast<char>(first), static_cast<char>(second)};
            ASSERT_EQ(roundTrip(pair), pair);
        }
    }
}

TEST(XercesText, DoesNotDependOnTheLocale) {
    const char* before = std::setlocale(LC_ALL, nullptr);
    const std::string saved = before;
    std::setlocale(LC_ALL, "C");
    const std::string name = "\xc3\xa9\xff.txt";
    EXPECT_EQ(std::u16string(Xerces_XercesString(name).unicodeForm()), u"\u00e9\uefff.txt");
    std::setlocale(LC_ALL, saved.c_str());
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
    Xerces_AppendUtf8(out, u"a\u00e9\U0001F600\uef01");
    EXPECT_EQ(out, "<a\xc3\xa9\xf0\x9f\x98\x80\xee\xbc\x81");
    out.clear();
    Xerces_AppendUtf8(out, u"\x01\xd800\ufffe\t");
    EXPECT_EQ(out, "\xee\xbc\x81\xef\xbf\xbd\xef\xbf\xbd\t");
}

TEST(XercesText, StringsOfEveryLength) {
    EXPECT_EQ(Xerces_XercesString(static_cast<const char*>(nullptr)).unicodeForm(), nullptr);
    for (const std::size_t length : {0U, 1U, 94U, 95U, 96U, 5000U}) {
        const Xerces_XercesString text(std::string(length, 'x'));
        EXPECT_EQ(std::u16string(text.unicodeForm()), std::u16string(length, u'x'));
    }
    char* bytes = nxTranscode(u"\u00e9\uefff");
    EXPECT_STREQ(bytes, "\xc3\xa9\xff");
    nxDeleteTranscode(bytes);
    EXPECT_EQ(nxTranscode(nullptr), nullptr);
    nxDeleteTranscode(nullptr);
}

} // namespace
