#include "date/System_Date.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <utility>

namespace {

/// The process's time zone for the length of a test.
class TimeZone {
public:
    explicit TimeZone(const char* zone) { set(zone); }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    ~TimeZone() { set(before_.c_str()); }

private:
    static void set(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
    std::string before_ = std::getenv("TZ") != nullptr ? std::getenv("TZ") : ":/etc/localtime";
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

} // namespace

TEST(Date, ReadsTheTextFormAndItsShorterForms) {
    const std::pair<std::string, const char*> cases[] = {
        {"2006-03-14 09:26:53", "2006-03-14 09:26:53"},
        {"2006-03-14", "2006-03-14 23:58:57"},
        {"2006-03-14T09:26", "2006-03-14 23:58:57"},
        {"2006-03-14 09:2x", "2006-03-14 09:58:57"},
        {"2006-03-14 09:26:53:99 and more", "2006-03-14 09:26:53"},
        {"09:26", "1999-12-31 09:26:57"},
        {"xx:26", "1999-12-31 23:58:57"},
        {std::string("2006\0-03-14", 11), "1999-12-31 20:58:57"},
    };
    for (const auto& [text, expected] : cases) {
        auto date = dateOf("1999-12-31 23:58:57");
        EXPECT_TRUE(date->parse(&text)) << text;
        EXPECT_EQ(textOf(*date), expected) << text;
    }
    for (const std::string text : {"2006-3-14", "2006-03-1x", "-006-03-14", "2006", ""}) {
        auto date = dateOf("1999-12-31 23:58:57");
        EXPECT_FALSE(date->parse(&text)) << text;
        EXPECT_EQ(textOf(*date), "1999-12-31 23:58:57") << text;
    }
}

TEST(Date, RefusesToWriteWhatTheTextFormCannotHold) {
    auto date = dateOf("9999-99-99 99:99:99");
    std::string text = "kept";
    EXPECT_EQ(textOf(*date), "9999-99-99 99:99:99");
    date->setYear(10000);
    EXPECT_FALSE(date->serialize(&text));
    date->setYear(1);
    date->setSecond(100);
    EXPECT_FALSE(date->serialize(&text));
    EXPECT_EQ(text, "kept");
    date->setToZeroTime();
    EXPECT_TRUE(date->isZeroTime());
    EXPECT_EQ(textOf(*date), "0000-00-00 00:00:00");
}

TEST(Date, ComparesFromYearToSecond) {
    const char* ascending[] = {"0000-00-00 00:00:00", "1999-12-31 23:59:59", "2000-01-01 00:00:00",
                               "2000-01-01 00:00:01", "2000-01-01 00:01:00", "2000-01-01 01:00:00",
                               "2000-01-02 00:00:00", "2000-02-01 00:00:00"};
    for (std::size_t i = 0; i < std::size(ascending); ++i) {
        for (std::size_t j = 0; j < std::size(ascending); ++j) {
            const auto a = dateOf(ascending[i]);
            const auto b = dateOf(ascending[j]);
            const bool found[] = {*a<*b, *a> * b, *a <= *b, *a >= *b, *a == *b, *a != *b};
            const bool wanted[] = {i<j, i> j, i <= j, i >= j, i == j, i != j};
            EXPECT_TRUE(std::equal(found, std::end(found), wanted)) << i << ' ' << j;
        }
    }
    EXPECT_TRUE(dateOf("2000-01-01 11:59:59")->isAM());
    EXPECT_FALSE(dateOf("2000-01-01 12:00:00")->isAM());
}

TEST(Date, ArithmeticGoesThroughTheLocalZone) {
    const struct {
        const char* zone;
        const char* before;
        long long seconds;
        const char* after;
    } cases[] = {
        {"UTC0", "2024-02-29 23:30:00", 3600, "2024-03-01 00:30:00"},
        {"UTC0", "2024-03-01 00:30:00", -1860, "2024-02-29 23:59:00"},
        {"UTC0", "2006-13-32 24:60:60", 0, "2007-02-02 01:01:00"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", "2024-03-31 01:30:00", 3600, "2024-03-31 03:30:00"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", "2024-07-01 12:00:00", 3600, "2024-07-01 13:00:00"},
    };
    for (const auto& c : cases) {
        const TimeZone zone(c.zone);
        auto date = dateOf(c.before);
        EXPECT_TRUE(c.seconds < 0 ? date->subtractSeconds(static_cast<unsigned>(-c.seconds))
                                  : date->addSeconds(static_cast<unsigned>(c.seconds)));
        EXPECT_EQ(textOf(*date), c.after) << c.zone;
    }
    const TimeZone zone("UTC0");
    auto date = dateOf("2023-12-31 23:59:00");
    EXPECT_TRUE(date->addHours(2000000));
    EXPECT_TRUE(date->addMinutes(4000000000U));
    EXPECT_EQ(textOf(*date), "9857-06-16 02:39:00") << "beyond 32 bits of seconds";
    date->setYear(2147483647U + 1900U);
    EXPECT_FALSE(date->addHours(4294967295U));
    EXPECT_EQ(date->getYear(), 2147483647U + 1900U) << "beyond the calendar nothing changes";
}

TEST(Date, OffsetsAreMinutesEastOfGreenwichInStepsOfAQuarterHour) {
    const struct {
        const char* zone;
        int raw;
        int rounded;
    } cases[] = {{"EST5", -300, -300}, {"NPT-5:45", 345, 345}, {"AAA-0:21", 21, 15},
                 {"AAA-0:22", 22, 30}, {"AAA0:21", -21, -15},  {"AAA0:29", -29, -15}};
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
