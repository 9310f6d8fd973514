#include "backend/entry_points.h"

#define RIDGEX_ENTRY(member, required) \
    { "ridgex_" #member, offsetof(entry_points_t, member), required }

const entry_point_name_t kEntryPointNames[kEntryPointCount] = {
    RIDGEX_ENTRY(version, true),
    RIDGEX_ENTRY(init, true),
    RIDGEX_ENTRY(exit, true),
    RIDGEX_ENTRY(query_devices, true),
    RIDGEX_ENTRY(open, true),
    RIDGEX_ENTRY(open_ext, false),
    RIDGEX_ENTRY(close, true),
    RIDGEX_ENTRY(get_device_status, true),
    RIDGEX_ENTRY(get_device_capabilities, true),
    RIDGEX_ENTRY(capture, true),
    RIDGEX_ENTRY(capture_pad_image, false),
    RIDGEX_ENTRY(cancel, true),
    RIDGEX_ENTRY(start_stream, true),
    RIDGEX_ENTRY(stop_stream, true),
    RIDGEX_ENTRY(get_stream_image, true),
    RIDGEX_ENTRY(reset, true),
    RIDGEX_ENTRY(calibrate, true),
    RIDGEX_ENTRY(led_config, true),
    RIDGEX_ENTRY(led_ctrl, true),
    RIDGEX_ENTRY(set_parameter, true),
    RIDGEX_ENTRY(get_parameter, true),
};

#undef RIDGEX_ENTRY

static_assert(kEntryPointCount == 21, "a backend library has 21 entry points");
