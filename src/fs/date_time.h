// fs::DateTime, a broken-down calendar time, and fs::Clock, a monotonic tick counter.
#pragma once

#include <cstdint>

// Both types live in the namespace fs with the rest of the file-system utilities: DateTime is
// what fs::file_modification_date returns, and keeping Clock beside it avoids two more names in
// the global namespace.
namespace fs {

// A calendar time: full year (e.g. 2024), month 1-12, day of month 1-31, hour 0-23, minute,
// second and millisecond. A default DateTime has every field 0, which callers read as "unknown".
class DateTime {
public:
    DateTime() = default;
    DateTime(std::int32_t year_, std::int32_t month_, std::int32_t day_, std::int32_t hour_,
             std::int32_t minute_, std::int32_t second_, std::int32_t millisecond_);
    virtual ~DateTime() = default;

    DateTime(DateTime const&) = default;
    DateTime(DateTime&&) = default;
    DateTime& operator=(DateTime const&) = default;
    DateTime& operator=(DateTime&&) = default;

    std::int32_t year = 0;
    std::int32_t month = 0;
    std::int32_t day = 0;
    std::int32_t hour = 0;
    std::int32_t minute = 0;
    std::int32_t second = 0;
    std::int32_t millisecond = 0;
};

bool operator==(DateTime const& left, DateTime const& right);
bool operator!=(DateTime const& left, DateTime const& right);

// A point on the monotonic clock (CLOCK_MONOTONIC) in ticks of 100 nanoseconds. A new Clock holds
// the current time; update() moves it to the current time again. The difference of two readings
// divided by 10,000 is milliseconds.
class Clock {
public:
    static constexpr std::uint64_t kTicksPerSecond = 10000000;
    static constexpr std::uint64_t kTicksPerMillisecond = 10000;

    Clock();

    void update();
    std::uint64_t ticks() const { return ticks_; }

private:
    std::uint64_t ticks_ = 0;
};

} // namespace fs
