/*
 * libridgex: fingerprint reader access for Linux.
 *
 * Conventions of this interface:
 *  - Every operation returns a 32-bit ridgex_result: 0 is success, any other
 *    value is a failure. The library's own failures are 0x05BA00xx; a reader
 *    library underneath may pass its own negative codes through unchanged.
 *  - A capture that ends without an image is still a success: look at
 *    `success` and `quality` of ridgex_capture_result.
 *  - Records start with a 32-bit `size`. The caller sets it on input records;
 *    a value below the record's minimum is RIDGEX_E_INVALID_PARAMETER.
 *  - Buffers follow one protocol: the caller gives room, too little room gives
 *    RIDGEX_E_MORE_DATA with the needed size written back, so two calls always
 *    suffice. Zero room and a null buffer ask for the size.
 *  - Every record layout below is a wire format, shared with the backend
 *    libraries that export the same functions (64-bit, little-endian).
 *  - Operations may be called from any thread, also from inside the
 *    asynchronous capture callback. ridgex_exit must not race with running
 *    operations.
 *  - A signal handler may call ridgex_cancel and ridgex_close, and nothing
 *    else of this library. If the handler interrupted a call of the library
 *    on its own thread, both take no lock of the library, allocate and free
 *    nothing, write no trace record and never wait. ridgex_cancel asks the
 *    reader's capture to stop and returns the backend's answer to that
 *    request; the capture then ends with RIDGEX_QUALITY_CANCELED.
 *    ridgex_close does the same and gives the open's reference back: a
 *    capture that still holds the reader closes it when it ends, as outside
 *    a handler; otherwise the handle is invalid at once and the reader is
 *    closed in its backend by the next call of the library outside a
 *    handler, on any thread. If the handler interrupted its thread outside
 *    the library, both act as on any other thread: the cancel waits for a
 *    capture on another thread to end, and the close of a reader that
 *    nothing else holds closes it in its backend there and then.
 */
#ifndef RIDGEX_H
#define RIDGEX_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The library itself, and a backend library that exports the same functions,
 * define one of these before including this header. */
#if defined(RIDGEX_BUILDING_LIBRARY) || defined(RIDGEX_BACKEND_LIBRARY)
#define RIDGEX_API __attribute__((visibility("default")))
#else
#define RIDGEX_API
#endif

/* The version of the library that this header belongs to; ridgex_version
 * tells the version of the library actually loaded. */
#define RIDGEX_VERSION_MAJOR 3
#define RIDGEX_VERSION_MINOR 2
#define RIDGEX_VERSION_PATCH 0

typedef uint32_t ridgex_result;

/* An open reader. Zero is never a valid handle. */
typedef void* ridgex_handle;

/* Status codes. The values are part of the interface: backend libraries
 * return the same numbers and the library compares them. */
#define RIDGEX_SUCCESS 0x00000000u
#define RIDGEX_E_NO_MEMORY 0x0000000Eu
#define RIDGEX_E_NOT_IMPLEMENTED 0x05BA000Au
#define RIDGEX_E_FAILURE 0x05BA000Bu
#define RIDGEX_E_MORE_DATA 0x05BA000Du
#define RIDGEX_E_INVALID_PARAMETER 0x05BA0014u
#define RIDGEX_E_INVALID_DEVICE 0x05BA0015u
#define RIDGEX_E_DEVICE_BUSY 0x05BA001Eu
#define RIDGEX_E_DEVICE_FAILURE 0x05BA001Fu
#define RIDGEX_E_MODEL 0x05BA0022u
#define RIDGEX_E_SCORER_INIT 0x05BA0023u
#define RIDGEX_E_SCORING 0x05BA0024u
#define RIDGEX_E_BAD_IMAGE 0x05BA0065u

/* Image formats of ridgex_capture_param.image_fmt. */
#define RIDGEX_IMG_FMT_RAW 0u               /* bare 8-bit pixels */
#define RIDGEX_IMG_FMT_ANSI381 0x001B0401u  /* ANSI/INCITS 381 record, 50-byte header */
#define RIDGEX_IMG_FMT_ISO19794 0x01010007u /* ISO/IEC 19794-4 record, 46-byte header */

/* Processing values of ridgex_capture_param.image_proc. */
#define RIDGEX_IMG_PROC_DEFAULT 0u
#define RIDGEX_IMG_PROC_MODE1 1u
#define RIDGEX_IMG_PROC_MODE2 2u
#define RIDGEX_IMG_PROC_MODE3 3u
#define RIDGEX_IMG_PROC_RAW 0x52617749u  /* "RawI": the reader's unconverted image */
#define RIDGEX_IMG_PROC_PAD0 0x50616430u /* "Pad0" */
#define RIDGEX_IMG_PROC_PAD1 0x50616431u /* "Pad1" */
#define RIDGEX_IMG_PROC_PAD2 0x50616432u /* "Pad2": the one liveness scoring asks for */

/* Quality values of ridgex_capture_result.quality. */
#define RIDGEX_QUALITY_GOOD 0x0000u
#define RIDGEX_QUALITY_TIMED_OUT 0x0001u
#define RIDGEX_QUALITY_CANCELED 0x0002u
#define RIDGEX_QUALITY_NO_IMAGE 0x0004u
#define RIDGEX_QUALITY_REJECTED 0x0008u
#define RIDGEX_QUALITY_CODE_11 0x0010u
#define RIDGEX_QUALITY_CODE_12 0x0020u
#define RIDGEX_QUALITY_CODE_9 0x0040u
#define RIDGEX_QUALITY_CODE_10 0x0080u
#define RIDGEX_QUALITY_CODE_15 0x0200u
#define RIDGEX_QUALITY_CODE_16 0x0400u
#define RIDGEX_QUALITY_CODE_17 0x1000u
#define RIDGEX_QUALITY_CODE_14 0x2000u
#define RIDGEX_QUALITY_CODE_18 0x4000u

/* Open priorities of ridgex_open_ext; ridgex_open uses EXCLUSIVE. */
#define RIDGEX_PRIORITY_SHARED 2u
#define RIDGEX_PRIORITY_EXCLUSIVE 4u

#define RIDGEX_TIMEOUT_INFINITE 0xFFFFFFFFu

/* Parameter identifiers. The public parameter operations know only
 * PAD_ENABLE; every other identifier addresses the false accept rate. The
 * others exist on the backend interface. */
#define RIDGEX_PARMID_ROTATE 0x0100u      /* 1 byte */
#define RIDGEX_PARMID_PAD_ENABLE 0x0200u  /* 1 byte: liveness check on or off */
#define RIDGEX_PARMID_READER_GUID 0x0302u /* 16 bytes */
#define RIDGEX_PARMID_SENSOR_INFO 0x0303u /* 48 bytes, sensor code at offset 32 */
#define RIDGEX_PARMID_LOWER_107 0xF003u   /* 4 bytes */

/* Reader status values of ridgex_device_status.status. */
#define RIDGEX_STATUS_READY 0u
#define RIDGEX_STATUS_BUSY 1u

/* Filled by ridgex_version; `size` set by the caller, at least 28. */
typedef struct ridgex_version_info {
    uint32_t size;
    uint32_t lib_major;       /* 3 */
    uint32_t lib_minor;       /* 2 */
    uint32_t lib_maintenance; /* 0 */
    uint32_t api_major;       /* 1 */
    uint32_t api_minor;       /* 10 */
    uint32_t api_maintenance; /* 0 */
} ridgex_version_info;

/* One reader in the list of ridgex_query_devices. */
typedef struct ridgex_device_info {
    uint32_t size;         /* 1452 */
    char name[1024];       /* "$NN$..." handed to ridgex_open unchanged */
    char vendor_name[128]; /* UTF-8 descriptor strings */
    char product_name[128];
    char serial_text[128];
    uint16_t vid;
    uint16_t pid;
    uint32_t version_words[6]; /* carried over from the backend */
    uint16_t revision;
    uint16_t reserved;   /* zero */
    uint32_t class_code; /* 0, 1 or 2 */
    uint32_t type_code;  /* 0 to 4 */
} ridgex_device_info;

typedef struct ridgex_device_status {
    uint32_t size;            /* 16, written by the backend */
    uint32_t status;          /* RIDGEX_STATUS_READY or RIDGEX_STATUS_BUSY */
    uint32_t finger_detected; /* non-zero while a finger is on the reader */
    uint32_t status_data;     /* carried through from the backend */
} ridgex_device_status;

/* Variable size: 48 bytes, then 4 bytes per resolution. */
typedef struct ridgex_device_caps {
    uint32_t size; /* in: bytes available; out: bytes of the record or needed */
    uint32_t cap_word_1;
    uint32_t can_stream;
    uint32_t cap_word_3;
    uint32_t cap_word_4;
    uint32_t cap_word_5;
    uint32_t cap_word_6;
    uint32_t led_mask; /* LEDs that ridgex_led_config and ridgex_led_ctrl address */
    uint32_t cap_word_8;
    uint32_t cap_word_9;
    uint32_t can_proc_mode1;
    uint32_t resolution_cnt;
    uint32_t resolutions[1]; /* resolution_cnt entries, dots per inch */
} ridgex_device_caps;

#define RIDGEX_DEVICE_CAPS_FIXED_SIZE 48u

typedef struct ridgex_capture_param {
    uint32_t size;       /* at least 16 */
    uint32_t image_fmt;  /* RIDGEX_IMG_FMT_* */
    uint32_t image_proc; /* RIDGEX_IMG_PROC_* */
    uint32_t image_res;  /* dots per inch, one of the reader's resolutions */
} ridgex_capture_param;

typedef struct ridgex_image_info {
    uint32_t size; /* 20 */
    uint32_t width;
    uint32_t height;
    uint32_t res;
    uint32_t bpp; /* 8 */
} ridgex_image_info;

typedef struct ridgex_capture_result {
    uint32_t size;    /* at least 36 */
    uint32_t success; /* 1 when the buffer holds an image */
    uint32_t quality; /* RIDGEX_QUALITY_* */
    uint32_t score;
    ridgex_image_info info;
} ridgex_capture_result;

/* The block handed to the asynchronous callback; it belongs to the library
 * and lives only for the call. The image follows the record. */
typedef struct ridgex_capture_callback_data {
    uint32_t size;  /* 72 */
    uint32_t error; /* status of this capture */
    ridgex_capture_param capture_parm;
    ridgex_capture_result capture_result;
    uint32_t image_size; /* 0 unless capture_result.success */
    uint8_t* image_data; /* points behind this record, or null */
} ridgex_capture_callback_data;

#define RIDGEX_CAPTURE_CALLBACK_DATA_SIZE 72u

/* Called on the capture thread once per finished capture; `size` is 72 plus
 * the image bytes. `reserved` is always 0. */
typedef void (*ridgex_async_callback)(void* context, uint32_t reserved, uint32_t size,
                                      ridgex_capture_callback_data* data);

RIDGEX_API ridgex_result ridgex_calibrate(ridgex_handle dev);
RIDGEX_API ridgex_result ridgex_cancel(ridgex_handle dev);
RIDGEX_API ridgex_result ridgex_capture(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                        uint32_t timeout, ridgex_capture_result* capture_result,
                                        uint32_t* image_size, uint8_t* image_data);
RIDGEX_API ridgex_result ridgex_capture_async(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                              void* context, ridgex_async_callback callback);
RIDGEX_API ridgex_result ridgex_close(ridgex_handle dev);
RIDGEX_API ridgex_result ridgex_exit(void);
RIDGEX_API ridgex_result ridgex_get_device_capabilities(ridgex_handle dev,
                                                        ridgex_device_caps* dev_caps);
RIDGEX_API ridgex_result ridgex_get_device_status(ridgex_handle dev,
                                                  ridgex_device_status* dev_status);
RIDGEX_API ridgex_result ridgex_get_parameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                              uint8_t* buffer);
RIDGEX_API ridgex_result ridgex_get_stream_image(ridgex_handle dev,
                                                 ridgex_capture_param* capture_parm,
                                                 ridgex_capture_result* capture_result,
                                                 uint32_t* image_size, uint8_t* image_data);
RIDGEX_API ridgex_result ridgex_init(void);
#if defined(RIDGEX_BACKEND_LIBRARY)
/* A backend library's LED configuration takes a fourth argument, always null. */
RIDGEX_API ridgex_result ridgex_led_config(ridgex_handle dev, uint32_t led_id, uint32_t led_mode,
                                           void* reserved);
#else
RIDGEX_API ridgex_result ridgex_led_config(ridgex_handle dev, uint32_t led_id, uint32_t led_mode);
#endif
RIDGEX_API ridgex_result ridgex_led_ctrl(ridgex_handle dev, uint32_t led_id, uint32_t led_cmd);
RIDGEX_API ridgex_result ridgex_open(const char* dev_name, ridgex_handle* pdev);
RIDGEX_API ridgex_result ridgex_open_ext(const char* dev_name, uint32_t prio, ridgex_handle* pdev);
RIDGEX_API ridgex_result ridgex_query_devices(uint32_t* dev_cnt, ridgex_device_info* dev_infos);
RIDGEX_API ridgex_result ridgex_reset(ridgex_handle dev);
RIDGEX_API ridgex_result ridgex_set_parameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                              uint8_t* buffer);
RIDGEX_API ridgex_result ridgex_start_stream(ridgex_handle dev);
RIDGEX_API ridgex_result ridgex_stop_stream(ridgex_handle dev);
RIDGEX_API void ridgex_trace(void* scope, const char* format);
RIDGEX_API void ridgex_trace_dispose(void* scope);
RIDGEX_API void ridgex_trace_error(void* scope, const char* message, uint32_t code);
RIDGEX_API void ridgex_trace_result(void* scope, const char* message, uint32_t code);
RIDGEX_API void ridgex_trace_start(const char* name, void** scope);
RIDGEX_API ridgex_result ridgex_version(ridgex_version_info* version);

/* Optional entry point of a backend library, never exported by libridgex
 * itself: the pad image of a reader. Follows the buffer protocol. */
typedef ridgex_result (*ridgex_capture_pad_image_fn)(ridgex_handle dev, uint32_t image_proc,
                                                     uint32_t* reserved1, uint32_t* reserved2,
                                                     ridgex_image_info* info, uint32_t* image_size,
                                                     uint8_t* image_data);

/* The layouts are wire formats: pin every size and offset. */
#if defined(__cplusplus)
#define RIDGEX_STATIC_ASSERT static_assert
#else
#define RIDGEX_STATIC_ASSERT _Static_assert
#endif
#define RIDGEX_ASSERT_AT(type, field, offset) \
    RIDGEX_STATIC_ASSERT(offsetof(type, field) == (offset), #type "." #field " offset")
#define RIDGEX_ASSERT_SIZE(type, bytes) RIDGEX_STATIC_ASSERT(sizeof(type) == (bytes), #type " size")

RIDGEX_ASSERT_SIZE(ridgex_version_info, 28);
RIDGEX_ASSERT_AT(ridgex_version_info, lib_major, 4);
RIDGEX_ASSERT_AT(ridgex_version_info, lib_minor, 8);
RIDGEX_ASSERT_AT(ridgex_version_info, lib_maintenance, 12);
RIDGEX_ASSERT_AT(ridgex_version_info, api_major, 16);
RIDGEX_ASSERT_AT(ridgex_version_info, api_minor, 20);
RIDGEX_ASSERT_AT(ridgex_version_info, api_maintenance, 24);

RIDGEX_ASSERT_SIZE(ridgex_device_info, 1452);
RIDGEX_ASSERT_AT(ridgex_device_info, name, 4);
RIDGEX_ASSERT_AT(ridgex_device_info, vendor_name, 1028);
RIDGEX_ASSERT_AT(ridgex_device_info, product_name, 1156);
RIDGEX_ASSERT_AT(ridgex_device_info, serial_text, 1284);
RIDGEX_ASSERT_AT(ridgex_device_info, vid, 1412);
RIDGEX_ASSERT_AT(ridgex_device_info, pid, 1414);
RIDGEX_ASSERT_AT(ridgex_device_info, version_words, 1416);
RIDGEX_ASSERT_AT(ridgex_device_info, revision, 1440);
RIDGEX_ASSERT_AT(ridgex_device_info, reserved, 1442);
RIDGEX_ASSERT_AT(ridgex_device_info, class_code, 1444);
RIDGEX_ASSERT_AT(ridgex_device_info, type_code, 1448);

RIDGEX_ASSERT_SIZE(ridgex_device_status, 16);
RIDGEX_ASSERT_AT(ridgex_device_status, status, 4);
RIDGEX_ASSERT_AT(ridgex_device_status, finger_detected, 8);
RIDGEX_ASSERT_AT(ridgex_device_status, status_data, 12);

RIDGEX_ASSERT_SIZE(ridgex_device_caps, 52);
RIDGEX_ASSERT_AT(ridgex_device_caps, cap_word_1, 4);
RIDGEX_ASSERT_AT(ridgex_device_caps, can_stream, 8);
RIDGEX_ASSERT_AT(ridgex_device_caps, cap_word_3, 12);
RIDGEX_ASSERT_AT(ridgex_device_caps, cap_word_4, 16);
RIDGEX_ASSERT_AT(ridgex_device_caps, cap_word_5, 20);
RIDGEX_ASSERT_AT(ridgex_device_caps, cap_word_6, 24);
RIDGEX_ASSERT_AT(ridgex_device_caps, led_mask, 28);
RIDGEX_ASSERT_AT(ridgex_device_caps, cap_word_8, 32);
RIDGEX_ASSERT_AT(ridgex_device_caps, cap_word_9, 36);
RIDGEX_ASSERT_AT(ridgex_device_caps, can_proc_mode1, 40);
RIDGEX_ASSERT_AT(ridgex_device_caps, resolution_cnt, 44);
RIDGEX_ASSERT_AT(ridgex_device_caps, resolutions, 48);

RIDGEX_ASSERT_SIZE(ridgex_capture_param, 16);
RIDGEX_ASSERT_AT(ridgex_capture_param, image_fmt, 4);
RIDGEX_ASSERT_AT(ridgex_capture_param, image_proc, 8);
RIDGEX_ASSERT_AT(ridgex_capture_param, image_res, 12);

RIDGEX_ASSERT_SIZE(ridgex_image_info, 20);
RIDGEX_ASSERT_AT(ridgex_image_info, width, 4);
RIDGEX_ASSERT_AT(ridgex_image_info, height, 8);
RIDGEX_ASSERT_AT(ridgex_image_info, res, 12);
RIDGEX_ASSERT_AT(ridgex_image_info, bpp, 16);

RIDGEX_ASSERT_SIZE(ridgex_capture_result, 36);
RIDGEX_ASSERT_AT(ridgex_capture_result, success, 4);
RIDGEX_ASSERT_AT(ridgex_capture_result, quality, 8);
RIDGEX_ASSERT_AT(ridgex_capture_result, score, 12);
RIDGEX_ASSERT_AT(ridgex_capture_result, info, 16);

RIDGEX_ASSERT_SIZE(ridgex_capture_callback_data, 72);
RIDGEX_ASSERT_AT(ridgex_capture_callback_data, error, 4);
RIDGEX_ASSERT_AT(ridgex_capture_callback_data, capture_parm, 8);
RIDGEX_ASSERT_AT(ridgex_capture_callback_data, capture_result, 24);
RIDGEX_ASSERT_AT(ridgex_capture_callback_data, image_size, 60);
RIDGEX_ASSERT_AT(ridgex_capture_callback_data, image_data, 64);

#undef RIDGEX_ASSERT_AT
#undef RIDGEX_ASSERT_SIZE
#undef RIDGEX_STATIC_ASSERT

#ifdef __cplusplus
}
#endif

#endif /* RIDGEX_H */
