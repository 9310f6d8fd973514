#include "operations.h"

#include <array>
#include <atomic>

namespace sim {
namespace {

constexpr std::array<std::string_view, operation_count> names = {
    "version",
    "init",
    "exit",
    "query_devices",
    "open",
    "open_ext",
    "close",
    "get_device_status",
    "get_device_capabilities",
    "capture",
    "capture_pad_image",
    "cancel",
    "start_stream",
    "stop_stream",
    "get_stream_image",
    "reset",
    "calibrate",
    "led_config",
    "led_ctrl",
    "set_parameter",
    "get_parameter",
    "closed_by_exit",
};

// Column 0 holds the total, column 1 + r the calls for reader r.
std::atomic<uint32_t> counts[operation_count][1 + max_readers];

}  // namespace

std::string_view operation_name(operation op) {
    return names[static_cast<uint32_t>(op)];
}

std::optional<operation> operation_by_name(std::string_view name) {
    for (uint32_t i = 0; i < operation_count; ++i) {
        if (names[i] == name) {
            return static_cast<operation>(i);
        }
    }
    return std::nullopt;
}

void count(operation op, int reader) {
    auto& row = counts[static_cast<uint32_t>(op)];
    row[0].fetch_add(1, std::memory_order_relaxed);
    if (reader >= 0 && reader < max_readers) {
        row[1 + reader].fetch_add(1, std::memory_order_relaxed);
    }
}

uint32_t counted(operation op, int reader) {
    if (reader < -1 || reader >= max_readers) {
        return 0;
    }
    return counts[static_cast<uint32_t>(op)][1 + reader].load(std::memory_order_relaxed);
}

void reset_counts() {
    for (auto& row : counts) {
        for (auto& cell : row) {
            cell.store(0, std::memory_order_relaxed);
        }
    }
}

}  // namespace sim
