#include "platform/clock.h"

#include <time.h>

namespace platform {

uint32_t tick_count() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    const uint64_t ms = uint64_t(now.tv_sec) * 1000 + uint64_t(now.tv_nsec) / 1'000'000;
    return static_cast<uint32_t>(ms);
}

local_time_t local_time() {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    tm fields{};
    localtime_r(&now.tv_sec, &fields);
    return {
        .year = static_cast<uint16_t>(fields.tm_year + 1900),
        .month = static_cast<uint16_t>(fields.tm_mon + 1),
        .day_of_week = static_cast<uint16_t>(fields.tm_wday),
        .day = static_cast<uint16_t>(fields.tm_mday),
        .hour = static_cast<uint16_t>(fields.tm_hour),
        .minute = static_cast<uint16_t>(fields.tm_min),
        // A leap second shows as 60 in tm; SYSTEMTIME has no room for it.
        .second = static_cast<uint16_t>(fields.tm_sec > 59 ? 59 : fields.tm_sec),
        .milliseconds = static_cast<uint16_t>(now.tv_nsec / 1'000'000),
    };
}

}  // namespace platform
