/*
 * libridgex: names and short sentences for status codes and capture quality
 * values, for messages to people. Everything here is static inline, so the
 * library exports nothing for it; include after or instead of ridgex.h.
 *
 *   fprintf(stderr, "%s (0x%08X): %s\n", ridgex_status_name(status),
 *           status, ridgex_status_text(status));
 *
 * No function returns null. A code this header does not know is named
 * "UNKNOWN"; its sentence tells whether it came from a reader library
 * underneath (those codes have the top bit set).
 */
#ifndef RIDGEX_TEXT_H
#define RIDGEX_TEXT_H

#include "ridgex.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The macro's name of a status, such as "RIDGEX_E_DEVICE_BUSY". */
static inline const char* ridgex_status_name(ridgex_result status) {
    switch (status) {
        case RIDGEX_SUCCESS:
            return "RIDGEX_SUCCESS";
        case RIDGEX_E_NO_MEMORY:
            return "RIDGEX_E_NO_MEMORY";
        case RIDGEX_E_NOT_IMPLEMENTED:
            return "RIDGEX_E_NOT_IMPLEMENTED";
        case RIDGEX_E_FAILURE:
            return "RIDGEX_E_FAILURE";
        case RIDGEX_E_MORE_DATA:
            return "RIDGEX_E_MORE_DATA";
        case RIDGEX_E_INVALID_PARAMETER:
            return "RIDGEX_E_INVALID_PARAMETER";
        case RIDGEX_E_INVALID_DEVICE:
            return "RIDGEX_E_INVALID_DEVICE";
        case RIDGEX_E_DEVICE_BUSY:
            return "RIDGEX_E_DEVICE_BUSY";
        case RIDGEX_E_DEVICE_FAILURE:
            return "RIDGEX_E_DEVICE_FAILURE";
        case RIDGEX_E_MODEL:
            return "RIDGEX_E_MODEL";
        case RIDGEX_E_SCORER_INIT:
            return "RIDGEX_E_SCORER_INIT";
        case RIDGEX_E_SCORING:
            return "RIDGEX_E_SCORING";
        case RIDGEX_E_BAD_IMAGE:
            return "RIDGEX_E_BAD_IMAGE";
        default:
            return "UNKNOWN";
    }
}

/* What a status means, in a few lower-case words without a full stop. */
static inline const char* ridgex_status_text(ridgex_result status) {
    switch (status) {
        case RIDGEX_SUCCESS:
            return "success";
        case RIDGEX_E_NO_MEMORY:
            return "out of memory";
        case RIDGEX_E_NOT_IMPLEMENTED:
            return "the reader or its backend does not offer this";
        case RIDGEX_E_FAILURE:
            return "the operation failed, or the library is not started";
        case RIDGEX_E_MORE_DATA:
            return "the buffer is too small; the size needed was written back";
        case RIDGEX_E_INVALID_PARAMETER:
            return "an argument is not valid";
        case RIDGEX_E_INVALID_DEVICE:
            return "no such reader, or the reader is not open";
        case RIDGEX_E_DEVICE_BUSY:
            return "the reader is busy";
        case RIDGEX_E_DEVICE_FAILURE:
            return "the reader failed or was disconnected";
        case RIDGEX_E_MODEL:
            return "the liveness scoring model cannot be loaded";
        case RIDGEX_E_SCORER_INIT:
            return "the liveness scoring library cannot be started";
        case RIDGEX_E_SCORING:
            return "the liveness scoring of the image failed";
        case RIDGEX_E_BAD_IMAGE:
            return "the image is shorter than its size says";
        default:
            return (status & 0x80000000u) != 0 ? "a failure of the reader library underneath"
                                               : "a status this library does not know";
    }
}

/* The macro's name of a quality value, such as "RIDGEX_QUALITY_TIMED_OUT". */
static inline const char* ridgex_quality_name(uint32_t quality) {
    switch (quality) {
        case RIDGEX_QUALITY_GOOD:
            return "RIDGEX_QUALITY_GOOD";
        case RIDGEX_QUALITY_TIMED_OUT:
            return "RIDGEX_QUALITY_TIMED_OUT";
        case RIDGEX_QUALITY_CANCELED:
            return "RIDGEX_QUALITY_CANCELED";
        case RIDGEX_QUALITY_NO_IMAGE:
            return "RIDGEX_QUALITY_NO_IMAGE";
        case RIDGEX_QUALITY_REJECTED:
            return "RIDGEX_QUALITY_REJECTED";
        case RIDGEX_QUALITY_CODE_11:
            return "RIDGEX_QUALITY_CODE_11";
        case RIDGEX_QUALITY_CODE_12:
            return "RIDGEX_QUALITY_CODE_12";
        case RIDGEX_QUALITY_CODE_9:
            return "RIDGEX_QUALITY_CODE_9";
        case RIDGEX_QUALITY_CODE_10:
            return "RIDGEX_QUALITY_CODE_10";
        case RIDGEX_QUALITY_CODE_15:
            return "RIDGEX_QUALITY_CODE_15";
        case RIDGEX_QUALITY_CODE_16:
            return "RIDGEX_QUALITY_CODE_16";
        case RIDGEX_QUALITY_CODE_17:
            return "RIDGEX_QUALITY_CODE_17";
        case RIDGEX_QUALITY_CODE_14:
            return "RIDGEX_QUALITY_CODE_14";
        case RIDGEX_QUALITY_CODE_18:
            return "RIDGEX_QUALITY_CODE_18";
        default:
            return "UNKNOWN";
    }
}

/* What a quality value says about the capture, in a few lower-case words. */
static inline const char* ridgex_quality_text(uint32_t quality) {
    switch (quality) {
        case RIDGEX_QUALITY_GOOD:
            return "a good image";
        case RIDGEX_QUALITY_TIMED_OUT:
            return "the time limit passed without a finger";
        case RIDGEX_QUALITY_CANCELED:
            return "the capture was cancelled or the reader disconnected";
        case RIDGEX_QUALITY_NO_IMAGE:
            return "the reader delivered no image";
        case RIDGEX_QUALITY_REJECTED:
            return "the image failed the liveness check";
        case RIDGEX_QUALITY_CODE_11:
        case RIDGEX_QUALITY_CODE_12:
        case RIDGEX_QUALITY_CODE_9:
        case RIDGEX_QUALITY_CODE_10:
        case RIDGEX_QUALITY_CODE_15:
        case RIDGEX_QUALITY_CODE_16:
        case RIDGEX_QUALITY_CODE_17:
        case RIDGEX_QUALITY_CODE_14:
        case RIDGEX_QUALITY_CODE_18:
            return "the reader refused the finger's image";
        default:
            return "a quality value this library does not know";
    }
}

#ifdef __cplusplus
}
#endif

#endif /* RIDGEX_TEXT_H */
