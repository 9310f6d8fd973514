/*
 * Test controls of the simulated reader library libTavloApi.so, beside its
 * twelve Tavlo operations. Tests and the demo reach them with dlsym on the
 * loaded library (RTLD_NOLOAD after the library under test bound it, or by
 * linking); the typedefs give the types.
 *
 * Readers are configured from the file named by RIDGEX_TAVLO_SIM_CONFIG,
 * read at every TavloInit that finds the library stopped (format in
 * docs/simulators.md). `reader` arguments are indices into the configured
 * readers; -1 addresses every reader at once where that is said.
 *
 * Reports reach the shim through the acquisition callbacks on a thread of
 * the simulator's own, in the order in which they were asked for; the stop
 * report of an acquisition comes on a thread of its own.
 */
#ifndef TAVLO_SIM_H
#define TAVLO_SIM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define TAVLO_SIM_API __attribute__((visibility("default")))

/* What TavloInit answers from now on (0: it starts the library). */
TAVLO_SIM_API void tavlo_sim_set_init_status(int32_t status);
TAVLO_SIM_API uint32_t tavlo_sim_init_calls(void);
TAVLO_SIM_API uint32_t tavlo_sim_term_calls(void);

/* Makes the Tavlo operation of that name ("TavloStopAcquisition", ...)
 * answer `code` from now on, doing nothing else, for its next `times` calls
 * (0: every call until changed). A code of 0 restores the operation. */
TAVLO_SIM_API void tavlo_sim_fail(const char* operation, int32_t code, uint32_t times);
typedef void (*tavlo_sim_fail_fn)(const char* operation, int32_t code, uint32_t times);

/* A finger on the reader: finger-on, then the reader's configured quality
 * report (none for code 0), then, unless that code refused the finger, an
 * image report with a synthetic fingerprint, then finger-off. 0, or -1 for
 * a reader without a running acquisition or one that does not exist. */
TAVLO_SIM_API int32_t tavlo_sim_place_finger(int32_t reader);
typedef int32_t (*tavlo_sim_place_finger_fn)(int32_t reader);

/* One raw report, for cases that a finger does not produce: the header's
 * group and type, and up to four parameters of ids and values (no block).
 * reader -1 sends the all-zero device id. */
TAVLO_SIM_API int32_t tavlo_sim_report(int32_t reader, uint32_t group, uint32_t type,
                                       uint32_t param_count, const uint32_t* ids,
                                       const uint32_t* values);
typedef int32_t (*tavlo_sim_report_fn)(int32_t reader, uint32_t group, uint32_t type,
                                       uint32_t param_count, const uint32_t* ids,
                                       const uint32_t* values);

/* An image report of a chosen record: `bytes` is the whole TavloImage with
 * its pixels as the shim will receive it (for malformed records). */
TAVLO_SIM_API int32_t tavlo_sim_report_image(int32_t reader, const void* bytes, uint32_t size);
typedef int32_t (*tavlo_sim_report_image_fn)(int32_t reader, const void* bytes, uint32_t size);

/* The reader reports that it was pulled out (group 1, type 102). It stays
 * listed by TavloEnumerateDevices, as if plugged back in at once. */
TAVLO_SIM_API int32_t tavlo_sim_disconnect(int32_t reader);
typedef int32_t (*tavlo_sim_disconnect_fn)(int32_t reader);

/* Returns once every report asked for so far has been delivered and its
 * callback has returned. Not to be called from a callback. */
TAVLO_SIM_API void tavlo_sim_flush(void);
typedef void (*tavlo_sim_flush_fn)(void);

/* The priority of the reader's running acquisition, 0 if it has none. */
TAVLO_SIM_API uint32_t tavlo_sim_acquisition_priority(int32_t reader);
typedef uint32_t (*tavlo_sim_acquisition_priority_fn)(int32_t reader);

/* Acquisitions created and not yet destroyed, over all readers. */
TAVLO_SIM_API uint32_t tavlo_sim_live_acquisitions(void);
typedef uint32_t (*tavlo_sim_live_acquisitions_fn)(void);

/* Calls of a Tavlo operation by name since the last tavlo_sim_clear_log. */
TAVLO_SIM_API uint32_t tavlo_sim_calls(const char* operation);
typedef uint32_t (*tavlo_sim_calls_fn)(const char* operation);

/* One recorded TavloSetDeviceParameter or TavloGetDeviceParameter call. */
typedef struct tavlo_sim_parameter_call {
    int32_t reader;     /* index of the reader, -1 for an unknown id */
    uint32_t set;       /* 1 for a set, 0 for a get */
    uint32_t parameter; /* the id as received */
    uint32_t size;      /* the value's size as received */
    uint8_t value[16];  /* its first bytes (a set's value as sent) */
} tavlo_sim_parameter_call;

/* Recorded parameter calls since the last tavlo_sim_clear_log, oldest
 * first: the number of them, and one by index (0 if it exists). */
TAVLO_SIM_API uint32_t tavlo_sim_parameter_calls(void);
typedef uint32_t (*tavlo_sim_parameter_calls_fn)(void);
TAVLO_SIM_API int32_t tavlo_sim_parameter_call_at(uint32_t index, tavlo_sim_parameter_call* call);
typedef int32_t (*tavlo_sim_parameter_call_at_fn)(uint32_t index, tavlo_sim_parameter_call* call);

/* Forgets the recorded parameter calls and operation counts. */
TAVLO_SIM_API void tavlo_sim_clear_log(void);
typedef void (*tavlo_sim_clear_log_fn)(void);

/* Why the last configuration read failed, "" if it did not. */
TAVLO_SIM_API const char* tavlo_sim_config_error(void);
typedef const char* (*tavlo_sim_config_error_fn)(void);

#ifdef __cplusplus
}
#endif

#endif /* TAVLO_SIM_H */
