// The operations that the simulated backend counts and whose result a
// configuration may force. Names are the export names without "ridgex_".
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace sim {

enum class operation : uint32_t {
    version,
    init,
    exit,
    query_devices,
    open,
    open_ext,
    close,
    get_device_status,
    get_device_capabilities,
    capture,
    capture_pad_image,
    cancel,
    start_stream,
    stop_stream,
    get_stream_image,
    reset,
    calibrate,
    led_config,
    led_ctrl,
    set_parameter,
    get_parameter,
    // Not an export: a reader that was still open when the last ridgex_exit
    // closed it.
    closed_by_exit,
};

inline constexpr uint32_t operation_count = static_cast<uint32_t>(operation::closed_by_exit) + 1;

// The most readers a configuration may list; counters exist for each.
inline constexpr int max_readers = 16;

std::string_view operation_name(operation op);
std::optional<operation> operation_by_name(std::string_view name);

// Counts one call: always in the total, and for `reader` too when it is a
// reader index. Lock-free, so it may run inside a signal handler.
void count(operation op, int reader = -1);
// Calls of `op` in all (reader -1) or for one reader.
uint32_t counted(operation op, int reader);
void reset_counts();

}  // namespace sim
