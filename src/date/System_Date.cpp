#include "date/System_Date.h"

#include <string_view>

namespace {

constexpr unsigned MaximumYear = 9999;
constexpr unsigned MaximumTwoDigits = 99;
constexpr int OffsetStep = 15;

bool takeNumber(std::string_view& text, std::size_t digits, unsigned& number) {
    if (text.size() < digits)
        return false;
    unsigned value = 0;
    for (const char c : text.substr(0, digits)) {
        if (c < '0' || c > '9')
            return false;
        value = value * 10 + static_cast<unsigned>(c - '0');
    }
    number = value;
    text.remove_prefix(digits);
    return true;
}

bool takeCharacter(std::string_view& text, char character) {
    if (text.empty() || text.front() != character)
        return false;
    text.remove_prefix(1);
    return true;
}

} // namespace

bool System_Date::gmtOffset(int& minutes) {
    int offset = 0;
    if (!rawGMTOffset(offset))
        return false;
    const int remainder = offset % OffsetStep;
    minutes = offset - remainder + (remainder > 6 ? OffsetStep : 0);
    return true;
}

bool System_Date::parse(const std::string* text) {
    if (text == nullptr)
        return false;
    std::string_view rest = *text;
    const bool hasDate = rest.size() < 5 || rest[4] == '-';
    if (hasDate) {
        Fields read = fields_;
        if (!takeNumber(rest, 4, read[Year]) || !takeCharacter(rest, '-') ||
            !takeNumber(rest, 2, read[Month]) || !takeCharacter(rest, '-') || !takeNumber(rest, 2, read[Day]))
            return false;
        fields_ = read;
        if (!takeCharacter(rest, ' '))
            return true;
    }
    for (const Field field : {Hour, Minute, Second}) {
        if (!takeNumber(rest, 2, fields_[field]) || !takeCharacter(rest, ':'))
            break;
    }
    return true;
}

bool System_Date::serialize(std::string* text) const {
    if (text == nullptr || fields_[Year] > MaximumYear)
        return false;
    for (const Field field : {Month, Day, Hour, Minute, Second}) {
        if (fields_[field] > MaximumTwoDigits)
            return false;
    }
    // Every hit of a search has some of these: the digits are put in place one by one.
    *text = "0000-00-00 00:00:00";
    const auto put = [text](std::size_t last, unsigned number) {
        for (; number != 0; number /= 10)
            (*text)[last--] = static_cast<char>('0' + number % 10);
    };
    put(3, fields_[Year]);
    std::size_t last = 6;
    for (const Field field : {Month, Day, Hour, Minute, Second}) {
        put(last, fields_[field]);
        last += 3;
    }
    return true;
}
