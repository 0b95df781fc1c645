#pragma once

#include <array>
#include <memory>
#include <string>

/// A calendar time: year, month (1 to 12), day, hour (0 to 23), minute and second, without a time zone.
///
/// All six zero, as after construction, is the zero time and stands for "no date". No range is tested
/// anywhere: a month 13 is kept until arithmetic normalises it. Text form "YYYY-MM-DD hh:mm:ss". An object
/// belongs to one thread at a time. Operations that return bool give false on failure and then leave the
/// fields as they were.
class System_Date {
public:
    /// Arithmetic goes through the local time zone in both directions, so a UTC value keeps its meaning
    /// except across a change of daylight saving time.
    virtual bool modHours(unsigned hours, bool add) = 0;
    virtual bool modMinutes(unsigned minutes, bool add) = 0;
    virtual bool modSeconds(unsigned seconds, bool add) = 0;

    /// Minutes of local time, daylight saving included, east of Greenwich at this moment.
    virtual bool rawGMTOffset(int& minutes) = 0;

    virtual ~System_Date() = default;

    /// The value in the platform's form, a new `std::tm`. The caller casts it back and deletes it.
    virtual void* getNative() const = 0;
    /// Takes the value of a `std::tm`, which stays the caller's.
    virtual void setNative(void* native) = 0;

    virtual unsigned getYear() const { return fields_[Year]; }
    virtual void setYear(unsigned year) { fields_[Year] = year; }
    virtual unsigned getMonth() const { return fields_[Month]; }
    virtual void setMonth(unsigned month) { fields_[Month] = month; }
    virtual unsigned getDay() const { return fields_[Day]; }
    virtual void setDay(unsigned day) { fields_[Day] = day; }
    virtual unsigned getHour() const { return fields_[Hour]; }
    virtual void setHour(unsigned hour) { fields_[Hour] = hour; }
    virtual unsigned getMinute() const { return fields_[Minute]; }
    virtual void setMinute(unsigned minute) { fields_[Minute] = minute; }
    virtual unsigned getSecond() const { return fields_[Second]; }
    virtual void setSecond(unsigned second) { fields_[Second] = second; }

    virtual bool isAM() const { return getHour() < 12; }
    virtual bool isZeroTime() const { return fields_ == Fields(); }
    virtual void setToZeroTime() { fields_ = Fields(); }
    /// The current time in UTC.
    virtual bool setToCurrentTime() = 0;

    virtual System_Date& operator=(const System_Date& other) = default;
    virtual bool operator==(const System_Date& other) const { return fields_ == other.fields_; }
    virtual bool operator!=(const System_Date& other) const { return fields_ != other.fields_; }
    virtual bool operator<(const System_Date& other) const { return fields_ < other.fields_; }
    virtual bool operator>(const System_Date& other) const { return fields_ > other.fields_; }
    virtual bool operator<=(const System_Date& other) const { return fields_ <= other.fields_; }
    virtual bool operator>=(const System_Date& other) const { return fields_ >= other.fields_; }

    virtual bool addHours(unsigned hours) { return modHours(hours, true); }
    virtual bool addMinutes(unsigned minutes) { return modMinutes(minutes, true); }
    virtual bool addSeconds(unsigned seconds) { return modSeconds(seconds, true); }
    virtual bool subtractHours(unsigned hours) { return modHours(hours, false); }
    virtual bool subtractMinutes(unsigned minutes) { return modMinutes(minutes, false); }
    virtual bool subtractSeconds(unsigned seconds) { return modSeconds(seconds, false); }

    /// rawGMTOffset brought to a multiple of 15 minutes, which hides the seconds that pass between two looks
    /// at the clock.
    virtual bool gmtOffset(int& minutes);

    /// Reads the text form or one of its shorter forms: the date alone, the date with a part of the time, or
    /// a time alone of at least five characters ("09:26:53", "09:26"). Fields that the text does not name
    /// keep their values; text beyond what was read is ignored.
    virtual bool parse(const std::string* text);
    /// Replaces `text` by the text form. Fails for a year above 9999 and any other field above 99.
    virtual bool serialize(std::string* text) const;

protected:
    System_Date() = default;
    System_Date(const System_Date& other) = default;

private:
    /// In the order in which they are compared.
    enum Field { Year, Month, Day, Hour, Minute, Second, FieldCount };
    using Fields = std::array<unsigned, FieldCount>;

    Fields fields_{};
};

/// A new date of this platform, at zero time. Never null.
std::unique_ptr<System_Date> System_FactoryAllocateDate();
