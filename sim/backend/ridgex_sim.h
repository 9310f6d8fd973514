/*
 * The simulated backend library: the backend-only export and the test
 * controls that it has beside the ridgex_ functions of ridgex.h. Tests load
 * a copy with dlopen and look these up by name; the typedefs give the types.
 */
#ifndef RIDGEX_SIM_H
#define RIDGEX_SIM_H

#include <stdint.h>

#include "ridgex.h"

#ifdef __cplusplus
extern "C" {
#endif

#define RIDGEX_SIM_API __attribute__((visibility("default")))

/* The pad image of a reader (RIDGEX_IMG_PROC_PAD0 to PAD2), with the buffer
 * protocol of a capture. pad_out1 and pad_out2 are not written. */
RIDGEX_SIM_API ridgex_result ridgex_capture_pad_image(ridgex_handle dev, uint32_t image_proc,
                                                      uint32_t* pad_out1, uint32_t* pad_out2,
                                                      ridgex_image_info* image_info,
                                                      uint32_t* image_size, uint8_t* image_data);

/* Calls of an operation (an export name without "ridgex_", such as "open" or
 * "capture_pad_image", or "closed_by_exit"): all of them for reader -1, else
 * those on the reader with that index in the configuration. Opens and closes
 * count per reader only when they succeed. UINT32_MAX for an unknown name. */
RIDGEX_SIM_API uint32_t ridgex_sim_count(const char* operation, int32_t reader);
typedef uint32_t (*ridgex_sim_count_fn)(const char* operation, int32_t reader);

/* Sets every counter back to 0. */
RIDGEX_SIM_API void ridgex_sim_reset_counts(void);
typedef void (*ridgex_sim_reset_counts_fn)(void);

/* Handles open right now. */
RIDGEX_SIM_API uint32_t ridgex_sim_open_handles(void);
typedef uint32_t (*ridgex_sim_open_handles_fn)(void);

/* Puts a finger on a reader: the capture waiting on it, or else the next
 * one, finds it. RIDGEX_E_INVALID_PARAMETER for a reader that does not
 * exist or before ridgex_init. */
RIDGEX_SIM_API ridgex_result ridgex_sim_place_finger(int32_t reader);
typedef ridgex_result (*ridgex_sim_place_finger_fn)(int32_t reader);

/* Pulls a reader out for a moment: the running capture, or else the next
 * one, ends with RIDGEX_E_DEVICE_FAILURE and RIDGEX_QUALITY_CANCELED. */
RIDGEX_SIM_API ridgex_result ridgex_sim_disconnect(int32_t reader);
typedef ridgex_result (*ridgex_sim_disconnect_fn)(int32_t reader);

/* Waits until a capture is waiting on the reader: 1 when one is, 0 when
 * timeout_ms passed first or the reader does not exist. */
RIDGEX_SIM_API int32_t ridgex_sim_wait_capturing(int32_t reader, uint32_t timeout_ms);
typedef int32_t (*ridgex_sim_wait_capturing_fn)(int32_t reader, uint32_t timeout_ms);

/* Why the last first ridgex_init failed to read the configuration, "" if it
 * did not. Valid until the next ridgex_init. */
RIDGEX_SIM_API const char* ridgex_sim_config_error(void);
typedef const char* (*ridgex_sim_config_error_fn)(void);

#ifdef __cplusplus
}
#endif

#endif /* RIDGEX_SIM_H */
