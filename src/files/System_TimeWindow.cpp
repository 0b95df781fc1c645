#include "files/System_TimeWindow.h"

namespace {

std::time_t secondsOf(const System_Date& date) {
    std::tm fields{};
    fields.tm_year = static_cast<int>(date.getYear()) - 1900;
    fields.tm_mon = static_cast<int>(date.getMonth()) - 1;
    fields.tm_mday = static_cast<int>(date.getDay());
    fields.tm_hour = static_cast<int>(date.getHour());
    fields.tm_min = static_cast<int>(date.getMinute());
    fields.tm_sec = static_cast<int>(date.getSecond());
    return timegm(&fields);
}

} // namespace

void System_TimeWindow::set(const System_Date& first, const System_Date& last) {
    if (first_ == first && last_ == last)
        return;
    first_ = first;
    last_ = last;
    firstTime_ = secondsOf(first);
    lastTime_ = secondsOf(last);
}
