// fs::DateTime comparison and fs::Clock reading the monotonic clock.
#include "fs/date_time.h"

#include <time.h>

namespace fs {

DateTime::DateTime(std::int32_t year_, std::int32_t month_, std::int32_t day_, std::int32_t hour_,
                   std::int32_t minute_, std::int32_t second_, std::int32_t millisecond_)
    : year(year_), month(month_), day(day_), hour(hour_), minute(minute_), second(second_),
      millisecond(millisecond_) {}

bool operator==(DateTime const& left, DateTime const& right) {
    return left.year == right.year && left.month == right.month && left.day == right.day &&
           left.hour == right.hour && left.minute == right.minute && left.second == right.second &&
           left.millisecond == right.millisecond;
}

bool operator!=(DateTime const& left, DateTime const& right) {
    return !(left == right);
}

Clock::Clock() {
    update();
}

void Clock::update() {
    timespec now{};
    // CLOCK_MONOTONIC cannot fail on Linux for a valid pointer; should it ever, the tick count
    // stays where it was rather than jumping.
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0)
        return;
    ticks_ = static_cast<std::uint64_t>(now.tv_sec) * kTicksPerSecond +
             static_cast<std::uint64_t>(now.tv_nsec) / 100;
}

} // namespace fs
