#pragma once

#include "date/System_Date.h"

#include <ctime>

/// A date over the C library's calendar functions. Made by System_FactoryAllocateDate.
class System_DateLinux : public System_Date {
public:
    System_DateLinux() = default;
    using System_Date::operator=;

    bool modHours(unsigned hours, bool add) override;
    bool modMinutes(unsigned minutes, bool add) override;
    bool modSeconds(unsigned seconds, bool add) override;
    bool rawGMTOffset(int& minutes) override;
    void* getNative() const override;
    void setNative(void* native) override;
    bool setToCurrentTime() override;

private:
    std::tm toTm() const;
    void fromTm(const std::tm& broken);
    bool shift(long long seconds);

    int dayOfYear_ = 0;
    int dayOfWeek_ = 0;
    int daylightSaving_ = 0;
};
