// Clocks: a cheap millisecond tick and the local calendar time.
#pragma once

#include <cstdint>

namespace platform {

// Milliseconds of the monotonic clock, cut to 32 bits, so it wraps after
// about 49.7 days. The coarse clock (a few ms of resolution) is used on
// purpose: the tick is read by every trace scope, also with tracing off.
uint32_t tick_count();

// Field order and meaning of the Windows SYSTEMTIME record: month 1 to 12,
// day_of_week 0 (Sunday) to 6, day of the month 1 to 31.
struct local_time_t {
    uint16_t year;
    uint16_t month;
    uint16_t day_of_week;
    uint16_t day;
    uint16_t hour;
    uint16_t minute;
    uint16_t second;
    uint16_t milliseconds;
};

// The wall clock in the local time zone.
local_time_t local_time();

}  // namespace platform
