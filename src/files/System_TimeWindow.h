#pragma once

#include "date/System_DateLinux.h"

#include <ctime>

/// The times between two dates of UTC, both included. A time in seconds is compared as such, so that a file's
/// need no calendar.
class System_TimeWindow {
public:
    /// Costs little if the dates are those of before.
    void set(const System_Date& first, const System_Date& last);

    bool has(std::time_t time) const { return firstTime_ <= time && time <= lastTime_; }
    bool has(const System_Date& date) const { return date >= first_ && date <= last_; }

private:
    System_DateLinux first_;
    System_DateLinux last_;
    std::time_t firstTime_ = 0;
    std::time_t lastTime_ = -1;
};
