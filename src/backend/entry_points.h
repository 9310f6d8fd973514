// The exports of a backend library, in the order in which they are stored.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ridgex.h"

struct entry_points_t {
    decltype(&::ridgex_version) version;
    decltype(&::ridgex_init) init;
    decltype(&::ridgex_exit) exit;
    decltype(&::ridgex_query_devices) query_devices;
    decltype(&::ridgex_open) open;
    decltype(&::ridgex_open_ext) open_ext;
    decltype(&::ridgex_close) close;
    decltype(&::ridgex_get_device_status) get_device_status;
    decltype(&::ridgex_get_device_capabilities) get_device_capabilities;
    decltype(&::ridgex_capture) capture;
    ridgex_capture_pad_image_fn capture_pad_image;
    decltype(&::ridgex_cancel) cancel;
    decltype(&::ridgex_start_stream) start_stream;
    decltype(&::ridgex_stop_stream) stop_stream;
    decltype(&::ridgex_get_stream_image) get_stream_image;
    decltype(&::ridgex_reset) reset;
    decltype(&::ridgex_calibrate) calibrate;
    // A backend's LED configuration takes a fourth, reserved argument.
    ridgex_result (*led_config)(ridgex_handle, uint32_t, uint32_t, void*);
    decltype(&::ridgex_led_ctrl) led_ctrl;
    decltype(&::ridgex_set_parameter) set_parameter;
    decltype(&::ridgex_get_parameter) get_parameter;
};

struct entry_point_name_t {
    const char* name;
    size_t offset;  // of the pointer inside entry_points_t
    bool required;
};

constexpr size_t kEntryPointCount = sizeof(entry_points_t) / sizeof(void*);

// Stored order. Load looks the required ones up in this order, then the two
// optional ones.
extern const entry_point_name_t kEntryPointNames[kEntryPointCount];
