#include "date/System_DateLinux.h"

namespace {

constexpr unsigned FirstTmYear = 1900;
constexpr long long SecondsPerMinute = 60;
constexpr long long SecondsPerHour = 3600;

/// For mktime: let the library find out whether daylight saving holds.
constexpr int UnknownDaylightSaving = -1;

long long withSign(long long seconds, bool add) {
    return add ? seconds : -seconds;
}

} // namespace

std::unique_ptr<System_Date> System_FactoryAllocateDate() {
    return std::make_unique<System_DateLinux>();
}

bool System_DateLinux::modHours(unsigned hours, bool add) {
    return shift(withSign(hours * SecondsPerHour, add));
}

bool System_DateLinux::modMinutes(unsigned minutes, bool add) {
    return shift(withSign(minutes * SecondsPerMinute, add));
}

bool System_DateLinux::modSeconds(unsigned seconds, bool add) {
    return shift(withSign(seconds, add));
}

bool System_DateLinux::shift(long long seconds) {
    std::tm broken = toTm();
    broken.tm_isdst = UnknownDaylightSaving;
    const std::time_t before = std::mktime(&broken);
    if (before == -1)
        return false;
    const std::time_t after = before + seconds;
    if (localtime_r(&after, &broken) == nullptr)
        return false;
    fromTm(broken);
    return true;
}

bool System_DateLinux::rawGMTOffset(int& minutes) {
    const std::time_t now = std::time(nullptr);
    std::tm broken{};
    if (gmtime_r(&now, &broken) == nullptr)
        return false;
    broken.tm_isdst = UnknownDaylightSaving;
    const std::time_t rebuilt = std::mktime(&broken);
    if (rebuilt == -1)
        return false;
    minutes = static_cast<int>((now - rebuilt) / SecondsPerMinute);
    return true;
}

void* System_DateLinux::getNative() const {
    return std::make_unique<std::tm>(toTm()).release();
}

void System_DateLinux::setNative(void* native) {
    if (native != nullptr)
        fromTm(*static_cast<const std::tm*>(native));
}

bool System_DateLinux::setToCurrentTime() {
    const std::time_t now = std::time(nullptr);
    std::tm broken{};
    if (gmtime_r(&now, &broken) == nullptr)
        return false;
    fromTm(broken);
    return true;
}

/// The subtractions are unsigned so that fields of any value have a defined, if senseless, outcome.
std::tm System_DateLinux::toTm() const {
    std::tm broken{};
    broken.tm_year = static_cast<int>(getYear() - FirstTmYear);
    broken.tm_mon = static_cast<int>(getMonth() - 1);
    broken.tm_mday = static_cast<int>(getDay());
    broken.tm_hour = static_cast<int>(getHour());
    broken.tm_min = static_cast<int>(getMinute());
    broken.tm_sec = static_cast<int>(getSecond());
    broken.tm_yday = dayOfYear_;
    broken.tm_wday = dayOfWeek_;
    broken.tm_isdst = daylightSaving_;
    return broken;
}

void System_DateLinux::fromTm(const std::tm& broken) {
    setYear(static_cast<unsigned>(broken.tm_year) + FirstTmYear);
    setMonth(static_cast<unsigned>(broken.tm_mon) + 1);
    setDay(static_cast<unsigned>(broken.tm_mday));
    setHour(static_cast<unsigned>(broken.tm_hour));
    setMinute(static_cast<unsigned>(broken.tm_min));
    setSecond(static_cast<unsigned>(broken.tm_sec));
    dayOfYear_ = broken.tm_yday;
    dayOfWeek_ = broken.tm_wday;
    daylightSaving_ = broken.tm_isdst;
}
