// Capture and cancel on an open reader. The caller's thread checks the
// request and waits; the worker starts libfprint's capture and reports how
// it ended.
#include <glib-unix.h>

#include <cmath>
#include <cstring>
#include <utility>

#include "backend.h"
#include "platform/event.h"

namespace fprint {
namespace {

// libfprint's reasons to try again, as the quality of a capture without an
// image.
constexpr std::pair<int, uint32_t> kRetryQualities[] = {
    {FP_DEVICE_RETRY_TOO_SHORT, RIDGEX_QUALITY_CODE_9},
    {FP_DEVICE_RETRY_CENTER_FINGER, RIDGEX_QUALITY_CODE_10},
    {FP_DEVICE_RETRY_REMOVE_FINGER, RIDGEX_QUALITY_CODE_11},
};

uint32_t RetryQuality(int code) {
    for (const auto& [retry, quality] : kRetryQualities) {
        if (retry == code) {
            return quality;
        }
    }
    return RIDGEX_QUALITY_NO_IMAGE;
}

outcome_t Outcome(const session_t& session, FpImage* image, const GError* error) {
    outcome_t outcome;
    if (image != nullptr) {
        gsize size = 0;
        const guchar* pixels = fp_image_get_data(image, &size);
        const double ppmm = fp_image_get_ppmm(image);
        outcome.geometry.width = fp_image_get_width(image);
        outcome.geometry.height = fp_image_get_height(image);
        if (ppmm > 0) {
            outcome.geometry.dpi = static_cast<uint32_t>(std::lround(ppmm * 25.4));
        }
        outcome.pixels.assign(pixels, pixels + size);
        outcome.quality = RIDGEX_QUALITY_GOOD;
    } else if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
        outcome.quality = session.timed_out ? RIDGEX_QUALITY_TIMED_OUT : RIDGEX_QUALITY_CANCELED;
    } else if (error != nullptr && error->domain == FP_DEVICE_RETRY) {
        outcome.quality = RetryQuality(error->code);
    } else {
        // A device error or an unplugged reader ends an asynchronous series.
        outcome.status = RIDGEX_E_DEVICE_FAILURE;
        outcome.quality = RIDGEX_QUALITY_CANCELED;
    }
    return outcome;
}

void OnCaptured(GObject* source, GAsyncResult* result, gpointer data) {
    auto& session = *static_cast<session_t*>(data);
    GError* error = nullptr;
    FpImage* image = fp_device_capture_finish(FP_DEVICE(source), result, &error);
    outcome_t outcome = Outcome(session, image, error);
    g_clear_error(&error);
    g_clear_object(&image);
    if (session.timer != nullptr) {
        g_source_destroy(session.timer);
        g_source_unref(session.timer);
        session.timer = nullptr;
    }
    g_clear_object(&session.cancellable);
    std::exchange(session.waiter, nullptr)->Set(std::move(outcome));
}

void StartCapture(session_t& session, uint32_t timeout, pending_t<outcome_t>& done) {
    session.waiter = &done;
    session.timed_out = false;
    session.cancellable = g_cancellable_new();
    if (session.cancel_requested) {
        g_cancellable_cancel(session.cancellable);
    }
    if (timeout != RIDGEX_TIMEOUT_INFINITE) {
        session.timer = g_timeout_source_new(timeout);
        g_source_set_callback(
            session.timer,
            [](gpointer data) -> gboolean {
                auto& timed = *static_cast<session_t*>(data);
                timed.timed_out = true;
                g_cancellable_cancel(timed.cancellable);
                return G_SOURCE_REMOVE;
            },
            &session, nullptr);
        g_source_attach(session.timer, g_main_context_get_thread_default());
    }
    fp_device_capture(session.device, TRUE, session.cancellable, OnCaptured, &session);
}

void FillResult(ridgex_capture_result& result, const outcome_t& outcome) {
    result.success = 0;
    result.quality = outcome.quality;
    result.score = 0;
    result.info = {sizeof(ridgex_image_info), outcome.geometry.width, outcome.geometry.height,
                   outcome.geometry.dpi, 8};
}

// Hands the image over if it fits; otherwise the session keeps it for the
// next call, which then needs no finger.
ridgex_result Deliver(session_t& session, outcome_t outcome, ridgex_capture_result& result,
                      uint32_t* image_size, uint8_t* image_data) {
    FillResult(result, outcome);
    if (outcome.status != RIDGEX_SUCCESS || outcome.quality != RIDGEX_QUALITY_GOOD) {
        return outcome.status;
    }
    const auto size = static_cast<uint32_t>(outcome.pixels.size());
    if (*image_size < size) {
        *image_size = size;
        session.held = std::move(outcome);
        session.holding = true;
        return RIDGEX_E_MORE_DATA;
    }
    std::memcpy(image_data, outcome.pixels.data(), size);
    *image_size = size;
    result.success = 1;
    return RIDGEX_SUCCESS;
}

bool RequestValid(const ridgex_capture_param* parm, const ridgex_capture_result* result,
                  const uint32_t* image_size, const uint8_t* image_data) {
    // Bare pixels only: the library's wrapper writes the record formats.
    return parm != nullptr && parm->size >= sizeof(ridgex_capture_param) &&
           parm->image_fmt == RIDGEX_IMG_FMT_RAW &&
           (parm->image_proc == RIDGEX_IMG_PROC_DEFAULT ||
            parm->image_proc == RIDGEX_IMG_PROC_MODE2 ||
            parm->image_proc == RIDGEX_IMG_PROC_MODE3 || parm->image_proc == RIDGEX_IMG_PROC_RAW) &&
           result != nullptr && result->size >= sizeof(ridgex_capture_result) &&
           image_size != nullptr && (*image_size == 0 || image_data != nullptr);
}

ridgex_result CaptureOwned(session_t& session, uint32_t timeout, ridgex_capture_result& result,
                           uint32_t* image_size, uint8_t* image_data) {
    if (session.holding) {
        session.holding = false;
        return Deliver(session, std::move(session.held), result, image_size, image_data);
    }
    backend_t& backend = backend_t::instance();
    outcome_t expected;
    expected.geometry = backend.Geometry(session.name);
    FillResult(result, expected);
    // A call without room learns the size and does not wait for a finger.
    // Before the first image the size is a guess, and an image larger than
    // the room is held for the next call.
    if (*image_size == 0 || (expected.geometry.known && *image_size < expected.geometry.bytes())) {
        *image_size = expected.geometry.bytes();
        // A size probe starts every asynchronous series: what was cancelled
        // before it is over.
        session.cancel_requested = false;
        return RIDGEX_E_MORE_DATA;
    }
    // A cancel stays pending from its request until a capture has ended, so
    // that one which comes between two captures of a series, or before the
    // series' thread has started, still ends the next capture.
    outcome_t outcome = RunOn<outcome_t>(backend.worker(), [&](pending_t<outcome_t>& done) {
        StartCapture(session, timeout, done);
    });
    session.cancel_requested = false;
    if (outcome.quality == RIDGEX_QUALITY_GOOD) {
        backend.Remember(session.name, outcome.geometry);
    }
    return Deliver(session, std::move(outcome), result, image_size, image_data);
}

}  // namespace

ridgex_result Capture(session_t& session, ridgex_capture_param* capture_parm, uint32_t timeout,
                      ridgex_capture_result* capture_result, uint32_t* image_size,
                      uint8_t* image_data) {
    if (!RequestValid(capture_parm, capture_result, image_size, image_data)) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    if (session.capturing.exchange(true)) {
        return RIDGEX_E_DEVICE_BUSY;
    }
    const ridgex_result status =
        CaptureOwned(session, timeout, *capture_result, image_size, image_data);
    session.capturing = false;
    return status;
}

ridgex_result Cancel(session_t& session) {
    session.cancel_requested = true;
    platform::event_set(session.cancel_event);
    return RIDGEX_SUCCESS;
}

void WatchCancel(session_t& session) {
    session.cancel_source = g_unix_fd_source_new(session.cancel_event, G_IO_IN);
    g_source_set_callback(session.cancel_source,
                          G_SOURCE_FUNC(+[](gint event, GIOCondition, gpointer data) -> gboolean {
                              platform::event_reset(event);
                              auto& session = *static_cast<session_t*>(data);
                              if (session.cancellable != nullptr && session.cancel_requested) {
                                  g_cancellable_cancel(session.cancellable);
                              }
                              return G_SOURCE_CONTINUE;
                          }),
                          &session, nullptr);
    g_source_attach(session.cancel_source, g_main_context_get_thread_default());
}

}  // namespace fprint
