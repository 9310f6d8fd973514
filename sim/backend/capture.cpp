// Capture, stream images and pad images of the simulated readers.
#include <algorithm>
#include <chrono>
#include <optional>

#include "fingerprint.h"
#include "reader_ops.h"

namespace sim {
namespace {

using steady = std::chrono::steady_clock;

struct geometry {
    uint32_t width;
    uint32_t height;
    uint32_t dpi;

    uint32_t bytes() const { return width * height; }
};

geometry native_geometry(const reader_config& reader) {
    return {reader.width, reader.height, reader.native_dpi()};
}

// Records and buffer of a capture or stream call, as far as they can be
// checked without the reader.
bool records_valid(const ridgex_capture_param* capture_parm,
                   const ridgex_capture_result* capture_result, const uint32_t* image_size,
                   const uint8_t* image_data) {
    return capture_parm != nullptr && capture_parm->size >= sizeof(ridgex_capture_param) &&
           capture_result != nullptr && capture_result->size >= sizeof(ridgex_capture_result) &&
           image_size != nullptr && (*image_size == 0 || image_data != nullptr);
}

// The image that the parameters ask of this reader. Only bare pixels are
// served: the library's wrapper writes record formats itself.
std::optional<geometry> requested_geometry(const reader_config& reader,
                                           const ridgex_capture_param& parm) {
    const bool proc_allowed =
        parm.image_proc == RIDGEX_IMG_PROC_DEFAULT || parm.image_proc == RIDGEX_IMG_PROC_MODE2 ||
        parm.image_proc == RIDGEX_IMG_PROC_MODE3 || parm.image_proc == RIDGEX_IMG_PROC_RAW ||
        (parm.image_proc == RIDGEX_IMG_PROC_MODE1 && reader.can_proc_mode1 != 0);
    const auto& dpis = reader.resolutions;
    if (parm.image_fmt != RIDGEX_IMG_FMT_RAW || !proc_allowed ||
        std::find(dpis.begin(), dpis.end(), parm.image_res) == dpis.end()) {
        return std::nullopt;
    }
    // The unconverted image comes as the sensor sees it, at its own resolution.
    if (parm.image_proc == RIDGEX_IMG_PROC_RAW) {
        return native_geometry(reader);
    }
    const uint32_t native = reader.native_dpi();
    return geometry{reader.width * parm.image_res / native, reader.height * parm.image_res / native,
                    parm.image_res};
}

// Fills the result as "no image yet" with the geometry of the image.
void prepare_result(ridgex_capture_result& result, const geometry& image) {
    result.success = 0;
    result.quality = RIDGEX_QUALITY_NO_IMAGE;
    result.score = 0;
    result.info = {sizeof(ridgex_image_info), image.width, image.height, image.dpi, 8};
}

void deliver_image(const reader_config& reader, const geometry& image,
                   ridgex_capture_result& result, uint32_t* image_size, uint8_t* image_data) {
    render_fingerprint(reader.seed, image.width, image.height, image.dpi, image_data);
    *image_size = image.bytes();
    result.success = 1;
    result.quality = RIDGEX_QUALITY_GOOD;
    result.score = reader.score;
}

enum class ending { finger, canceled, unplugged, timed_out, failed };

uint32_t ms_until(steady::time_point when, steady::time_point now) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(when - now).count();
    return static_cast<uint32_t>(std::clamp<int64_t>(left, 0, RIDGEX_TIMEOUT_INFINITE - 1));
}

// Sleeps on the handle's wake signal, which every cause of an ending sets,
// so a cancel from any thread or a signal handler ends the wait at once.
ending wait_for_finger(session_t& session, reader_state_t& state, const reader_config& reader,
                       uint32_t timeout) {
    const steady::time_point start = steady::now();
    std::optional<steady::time_point> give_up;
    if (timeout != RIDGEX_TIMEOUT_INFINITE) {
        give_up = start + std::chrono::milliseconds(timeout);
    }
    std::optional<steady::time_point> touch;
    if (reader.finger == finger_timing::delay) {
        touch = start + std::chrono::milliseconds(reader.finger_delay_ms);
    }
    for (;;) {
        if (session.cancel_requested) {
            return ending::canceled;
        }
        if (state.unplugged.exchange(false)) {
            return ending::unplugged;
        }
        const steady::time_point now = steady::now();
        if (state.finger_placed.exchange(false) || reader.finger == finger_timing::immediate ||
            (touch && now >= *touch)) {
            return ending::finger;
        }
        if (give_up && now >= *give_up) {
            return ending::timed_out;
        }
        std::optional<steady::time_point> next = give_up;
        if (touch && (!next || *touch < *next)) {
            next = touch;
        }
        signal_t* wake = session.wake.load();
        const uint32_t wait_ms = next ? ms_until(*next, now) : RIDGEX_TIMEOUT_INFINITE;
        if (wait_signal(1, &wake, wait_ms) < 0) {
            return ending::failed;
        }
    }
}

void end_capture(session_t& session, reader_state_t& state) {
    state.capturing = nullptr;
    session.in_capture = false;
}

// Makes the capture the reader's only activity, or answers busy.
bool begin_capture(session_t& session, reader_state_t& state) {
    if (session.in_capture.exchange(true)) {
        return false;
    }
    // A cancel that came while nothing ran must not end this capture.
    session.wake.load()->Reset();
    session.cancel_requested = false;
    session_t* idle = nullptr;
    if (!state.capturing.compare_exchange_strong(idle, &session)) {
        session.in_capture = false;
        return false;
    }
    // start_stream claims the reader the other way round, so one of the two
    // always sees the other.
    if (state.streaming.load() != nullptr) {
        end_capture(session, state);
        return false;
    }
    return true;
}

// What a capture and a stream image test first: the records, the image
// asked for, and the room, before any waiting, so that a call without room
// only learns the size.
ridgex_result check_request(const reader_config& reader, ridgex_capture_param* capture_parm,
                            ridgex_capture_result* capture_result, uint32_t* image_size,
                            uint8_t* image_data, std::optional<geometry>& image) {
    if (!records_valid(capture_parm, capture_result, image_size, image_data)) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    image = requested_geometry(reader, *capture_parm);
    if (!image) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    prepare_result(*capture_result, *image);
    if (*image_size < image->bytes()) {
        *image_size = image->bytes();
        return RIDGEX_E_MORE_DATA;
    }
    return RIDGEX_SUCCESS;
}

}  // namespace

ridgex_result capture(session_t& session, ridgex_capture_param* capture_parm, uint32_t timeout,
                      ridgex_capture_result* capture_result, uint32_t* image_size,
                      uint8_t* image_data) {
    backend_state& backend = backend_state::instance();
    const reader_config& reader = backend.reader_config_of(session);
    std::optional<geometry> image;
    if (const ridgex_result status =
            check_request(reader, capture_parm, capture_result, image_size, image_data, image);
        status != RIDGEX_SUCCESS) {
        return status;
    }
    reader_state_t& state = backend.reader(session.reader);
    if (!begin_capture(session, state)) {
        return RIDGEX_E_DEVICE_BUSY;
    }
    backend.capture_started();
    const ending end = wait_for_finger(session, state, reader, timeout);
    end_capture(session, state);

    switch (end) {
        case ending::canceled:
            capture_result->quality = RIDGEX_QUALITY_CANCELED;
            return RIDGEX_SUCCESS;
        case ending::unplugged:
            capture_result->quality = RIDGEX_QUALITY_CANCELED;
            return RIDGEX_E_DEVICE_FAILURE;
        case ending::timed_out:
            capture_result->quality = RIDGEX_QUALITY_TIMED_OUT;
            return RIDGEX_SUCCESS;
        case ending::failed:
            return RIDGEX_E_FAILURE;
        case ending::finger:
            break;
    }
    switch (reader.outcome) {
        case capture_outcome::image:
            deliver_image(reader, *image, *capture_result, image_size, image_data);
            return RIDGEX_SUCCESS;
        case capture_outcome::timeout:
            capture_result->quality = RIDGEX_QUALITY_TIMED_OUT;
            return RIDGEX_SUCCESS;
        case capture_outcome::reject:
            capture_result->quality = reader.reject_quality;
            return RIDGEX_SUCCESS;
        case capture_outcome::fail:
            return reader.fail_status;
        case capture_outcome::disconnect:
            capture_result->quality = RIDGEX_QUALITY_CANCELED;
            return RIDGEX_E_DEVICE_FAILURE;
    }
    return RIDGEX_E_FAILURE;
}

ridgex_result cancel(session_t& session) {
    session.cancel_requested = true;
    session.wake.load()->Set();
    return RIDGEX_SUCCESS;
}

ridgex_result stream_image(session_t& session, ridgex_capture_param* capture_parm,
                           ridgex_capture_result* capture_result, uint32_t* image_size,
                           uint8_t* image_data) {
    if (!records_valid(capture_parm, capture_result, image_size, image_data)) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    backend_state& backend = backend_state::instance();
    if (backend.reader(session.reader).streaming.load() != &session) {
        return RIDGEX_E_FAILURE;
    }
    const reader_config& reader = backend.reader_config_of(session);
    std::optional<geometry> image;
    if (const ridgex_result status =
            check_request(reader, capture_parm, capture_result, image_size, image_data, image);
        status != RIDGEX_SUCCESS) {
        return status;
    }
    deliver_image(reader, *image, *capture_result, image_size, image_data);
    return RIDGEX_SUCCESS;
}

ridgex_result pad_image(session_t& session, uint32_t image_proc, ridgex_image_info* image_info,
                        uint32_t* image_size, uint8_t* image_data) {
    const reader_config& reader = backend_state::instance().reader_config_of(session);
    if (!reader.pad_images) {
        return RIDGEX_E_NOT_IMPLEMENTED;
    }
    if (image_proc < RIDGEX_IMG_PROC_PAD0 || image_proc > RIDGEX_IMG_PROC_PAD2 ||
        image_info == nullptr || image_size == nullptr ||
        (*image_size != 0 && image_data == nullptr)) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    const geometry image = native_geometry(reader);
    *image_info = {sizeof(ridgex_image_info), image.width, image.height, image.dpi, 8};
    if (*image_size < image.bytes()) {
        *image_size = image.bytes();
        return RIDGEX_E_MORE_DATA;
    }
    render_pad(reader.seed, image_proc - RIDGEX_IMG_PROC_PAD0,
               reader.spoof ? pad_surface::spoof : pad_surface::skin, image.width, image.height,
               image.dpi, image_data);
    *image_size = image.bytes();
    return RIDGEX_SUCCESS;
}

}  // namespace sim
