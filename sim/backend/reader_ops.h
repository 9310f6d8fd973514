// The operations on an open handle of the simulated backend. Each gets the
// session behind a handle already checked, and answers with the statuses of
// ridgex.h as a real backend does.
#pragma once

#include <cstdint>

#include "backend_state.h"
#include "ridgex.h"

namespace sim {

// Blocks until the reader's finger, a cancel, a disconnect or the time-out
// ends the capture; a buffer too small for the image answers at once.
ridgex_result capture(session_t& session, ridgex_capture_param* capture_parm, uint32_t timeout,
                      ridgex_capture_result* capture_result, uint32_t* image_size,
                      uint8_t* image_data);
// Ends a capture on the handle soon. Lock-free and async-signal-safe.
ridgex_result cancel(session_t& session);
ridgex_result stream_image(session_t& session, ridgex_capture_param* capture_parm,
                           ridgex_capture_result* capture_result, uint32_t* image_size,
                           uint8_t* image_data);
ridgex_result pad_image(session_t& session, uint32_t image_proc, ridgex_image_info* image_info,
                        uint32_t* image_size, uint8_t* image_data);

ridgex_result device_status(session_t& session, ridgex_device_status* dev_status);
ridgex_result device_capabilities(session_t& session, ridgex_device_caps* dev_caps);
ridgex_result start_stream(session_t& session);
ridgex_result stop_stream(session_t& session);
// Both LED operations: `led_id` is a mask of LEDs within the reader's led_mask.
ridgex_result led_operation(session_t& session, uint32_t led_id);
ridgex_result set_parameter(session_t& session, uint32_t parm_id, uint32_t size, uint8_t* buffer);
ridgex_result get_parameter(session_t& session, uint32_t parm_id, uint32_t size, uint8_t* buffer);

}  // namespace sim
