#include "date/System_Date.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <memory>
#include <optional>
#include <string>

namespace {

/// The process's time zone for the length of a test.
class TimeZone {
public:
    explicit TimeZone(const char* zone) {
        if (const char* before = std::getenv("TZ"))
            before_ = before;
        setenv("TZ", zone, 1);
        tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    ~TimeZone() {
        if (before_)
            setenv("TZ", before_->c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

private:
    std::optional<std::string> before_;
};

std::unique_ptr<System_Date> dateOf(const std::string& text) {
    auto date = System_FactoryAllocateDate();
    EXPECT_TRUE(date->parse(&text)) << text;
    return date;
}

std::string textOf(const System_Date& date) {
    std::string text;
    EXPECT_TRUE(date.serialize(&text));
    return text;
}

/// What a date holding 1999-12-31 23:58:57 shows after reading `text`; "refused" if it does not read it.
std::string parsedOver(const std::string& text) {
    auto date = dateOf("1999-12-31 23:58:57");
    const bool read = date->parse(&text);
    std::string shown = textOf(*date);
    if (!read) {
        EXPECT_EQ(shown, "1999-12-31 23:58:57") << "a refused text changed the date: " << text;
        return "refused";
    }
    return shown;
}

} // namespace

TEST(Date, ReadsTheTextFormAndItsShorterForms) {
    const struct {
        const char* text;
        const char* expected;
    } cases[] = {
        {"2006-03-14 09:26:53", "2006-03-14 09:26:53"},
        {"2006-03-14", "2006-03-14 23:58:57"},
        {"2006-03-14 ", "2006-03-14 23:58:57"},
        {"2006-03-14T09:26", "2006-03-14 23:58:57"},
        {"2006-03-14 0", "2006-03-14 23:58:57"},
        {"2006-03-14 09", "2006-03-14 09:58:57"},
        {"2006-03-14 09:2x", "2006-03-14 09:58:57"},
        {"2006-03-14 09:26:5", "2006-03-14 09:26:57"},
        {"2006-03-14 09:26:53:99 and more", "2006-03-14 09:26:53"},
        {"2006-13-99 99:99:99", "2006-13-99 99:99:99"},
        {"09:26:53", "1999-12-31 09:26:53"},
        {"09:26", "1999-12-31 09:26:57"},
        {"09:2x", "1999-12-31 09:58:57"},
        {"xx:26", "1999-12-31 23:58:57"},
        {"2006-3-14", "refused"},
        {"2006-3-14 10", "refused"},
        {"2006-03-1x", "refused"},
        {"2006-03/14", "refused"},
        {"-006-03-14", "refused"},
        {"12:3-", "refused"},
        {"2006", "refused"},
        {"09:2", "refused"},
        {"", "refused"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(parsedOver(c.text), c.expected) << c.text;
    EXPECT_EQ(parsedOver(std::string("2006\0-03-14", 11)), "1999-12-31 20:58:57");
    EXPECT_FALSE(System_FactoryAllocateDate()->parse(nullptr));
}

TEST(Date, RefusesToWriteWhatTheTextFormCannotHold) {
    auto date = dateOf("9999-99-99 99:99:99");
    std::string text = "kept";
    EXPECT_EQ(textOf(*date), "9999-99-99 99:99:99");
    EXPECT_FALSE(date->serialize(nullptr));
    date->setYear(10000);
    EXPECT_FALSE(date->serialize(&text));
    date->setYear(1);
    date->setSecond(100);
    EXPECT_FALSE(date->serialize(&text));
    EXPECT_EQ(text, "kept");
    date->setSecond(2);
    EXPECT_EQ(textOf(*date), "0001-99-99 99:99:02");
}

TEST(Date, ZeroTimeStandsForNoDate) {
    auto date = System_FactoryAllocateDate();
    EXPECT_TRUE(date->isZeroTime());
    EXPECT_EQ(textOf(*date), "0000-00-00 00:00:00");
    date->setSecond(1);
    EXPECT_FALSE(date->isZeroTime());
    date->setToZeroTime();
    EXPECT_TRUE(date->isZeroTime());
}

TEST(Date, ComparesFromYearToSecond) {
    const char* ascending[] = {"0000-00-00 00:00:00", "1999-12-31 23:59:59", "2000-01-01 00:00:00",
                               "2000-01-01 00:00:01", "2000-01-01 00:01:00", "2000-01-01 01:00:00",
                               "2000-01-02 00:00:00", "2000-02-01 00:00:00"};
    for (std::size_t i = 0; i < std::size(ascending); ++i) {
        for (std::size_t j = 0; j < std::size(ascending); ++j) {
            const auto a = dateOf(ascending[i]);
            const auto b = dateOf(ascending[j]);
            EXPECT_EQ(*a < *b, i < j) << i << ' ' << j;
            EXPECT_EQ(*a > *b, i > j) << i << ' ' << j;
            EXPECT_EQ(*a <= *b, i <= j) << i << ' ' << j;
            EXPECT_EQ(*a >= *b, i >= j) << i << ' ' << j;
            EXPECT_EQ(*a == *b, i == j) << i << ' ' << j;
            EXPECT_EQ(*a != *b, i != j) << i << ' ' << j;
            *a = *b;
            EXPECT_TRUE(*a == *b);
        }
    }
    EXPECT_TRUE(dateOf("2000-01-01 11:59:59")->isAM());
    EXPECT_FALSE(dateOf("2000-01-01 12:00:00")->isAM());
}

TEST(Date, ArithmeticCarriesThroughAllFields) {
    const TimeZone zone("UTC0");
    auto date = dateOf("2024-02-29 23:30:00");
    EXPECT_TRUE(date->addSeconds(3600));
    EXPECT_EQ(textOf(*date), "2024-03-01 00:30:00");
    EXPECT_TRUE(date->subtractMinutes(31));
    EXPECT_EQ(textOf(*date), "2024-02-29 23:59:00");
    EXPECT_TRUE(date->subtractHours(24 * 60));
    EXPECT_EQ(textOf(*date), "2023-12-31 23:59:00");
    // Beyond 32 bits of seconds.
    EXPECT_TRUE(date->addHours(2000000));
    EXPECT_EQ(textOf(*date), "2252-02-28 07:59:00");
    EXPECT_TRUE(date->addMinutes(4000000000U));
    EXPECT_EQ(textOf(*date), "9857-06-16 02:39:00");

    date = dateOf("2006-13-32 24:60:60");
    EXPECT_TRUE(date->addSeconds(0));
    EXPECT_EQ(textOf(*date), "2007-02-02 01:01:00");
}

TEST(Date, ArithmeticThatTheCalendarCannotHoldChangesNothing) {
    const TimeZone zone("UTC0");
    auto date = dateOf("2006-03-14 09:26:53");
    date->setYear(2147483647U + 1900U);
    EXPECT_FALSE(date->addHours(4294967295U));
    EXPECT_EQ(date->getYear(), 2147483647U + 1900U);
    // The one second whose number the C library uses to report a failure.
    date = dateOf("1969-12-31 23:59:59");
    EXPECT_FALSE(date->addSeconds(1));
    EXPECT_EQ(textOf(*date), "1969-12-31 23:59:59");
}

TEST(Date, ArithmeticFollowsTheLocalZoneAcrossDaylightSaving) {
    const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    auto date = dateOf("2024-03-31 01:30:00");
    EXPECT_TRUE(date->addSeconds(3600));
    EXPECT_EQ(textOf(*date), "2024-03-31 03:30:00");
    date = dateOf("2024-07-01 12:00:00");
    EXPECT_TRUE(date->addHours(1));
    EXPECT_EQ(textOf(*date), "2024-07-01 13:00:00");
}

TEST(Date, OffsetsAreMinutesEastOfGreenwichInStepsOfAQuarterHour) {
    const struct {
        const char* zone;
        int raw;
        int rounded;
    } cases[] = {
        {"UTC0", 0, 0},       {"EST5", -300, -300}, {"IST-5:30", 330, 330}, {"NPT-5:45", 345, 345},
        {"AAA-0:21", 21, 15}, {"AAA-0:22", 22, 30}, {"AAA0:21", -21, -15},  {"AAA0:29", -29, -15},
        {"AAA-0:14", 14, 15}, {"AAA0:14", -14, 0},
    };
    for (const auto& c : cases) {
        const TimeZone zone(c.zone);
        auto date = System_FactoryAllocateDate();
        int raw = -1;
        int rounded = -1;
        EXPECT_TRUE(date->rawGMTOffset(raw));
        EXPECT_TRUE(date->gmtOffset(rounded));
        EXPECT_EQ(raw, c.raw) << c.zone;
        EXPECT_EQ(rounded, c.rounded) << c.zone;
    }
}

TEST(Date, CurrentTimeIsUtc) {
    const TimeZone zone("AAA-9");
    auto date = System_FactoryAllocateDate();
    const std::time_t before = std::time(nullptr);
    ASSERT_TRUE(date->setToCurrentTime());
    const std::unique_ptr<std::tm> native(static_cast<std::tm*>(date->getNative()));
    const std::time_t shown = timegm(native.get());
    EXPECT_GE(shown, before);
    EXPECT_LE(shown, std::time(nullptr));

    auto copy = System_FactoryAllocateDate();
    copy->setNative(native.get());
    EXPECT_TRUE(*copy == *date);
}
