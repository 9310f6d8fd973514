// The exported functions of the libfprint backend library: each checks the
// handle and hands over to the backend. Streams, LEDs, parameters, reset and
// calibration are not offered by libfprint and say so.
#include <cstring>

#include "backend.h"

using fprint::backend_t;
using fprint::session_t;

namespace {

template <typename Body>
ridgex_result OnReader(ridgex_handle dev, Body body) {
    session_t* session = backend_t::instance().Find(dev);
    return session != nullptr ? body(*session) : RIDGEX_E_INVALID_DEVICE;
}

ridgex_result NotOffered(ridgex_handle dev) {
    return OnReader(dev, [](session_t&) { return RIDGEX_E_NOT_IMPLEMENTED; });
}

}  // namespace

extern "C" {

ridgex_result ridgex_version(ridgex_version_info* version) {
    if (version == nullptr || version->size < sizeof(ridgex_version_info)) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    version->lib_major = RIDGEX_VERSION_MAJOR;
    version->lib_minor = RIDGEX_VERSION_MINOR;
    version->lib_maintenance = RIDGEX_VERSION_PATCH;
    version->api_major = 1;
    version->api_minor = 10;
    version->api_maintenance = 0;
    return RIDGEX_SUCCESS;
}

ridgex_result ridgex_init(void) {
    return backend_t::instance().Init();
}

ridgex_result ridgex_exit(void) {
    return backend_t::instance().Exit();
}

ridgex_result ridgex_query_devices(uint32_t* dev_cnt, ridgex_device_info* dev_infos) {
    return backend_t::instance().QueryDevices(dev_cnt, dev_infos);
}

ridgex_result ridgex_open(const char* dev_name, ridgex_handle* pdev) {
    return backend_t::instance().Open(dev_name, pdev);
}

// libfprint opens a reader for one user at a time, whatever the priority.
ridgex_result ridgex_open_ext(const char* dev_name, uint32_t, ridgex_handle* pdev) {
    return backend_t::instance().Open(dev_name, pdev);
}

ridgex_result ridgex_close(ridgex_handle dev) {
    return backend_t::instance().Close(dev);
}

// status_data carries libfprint's finger status flags: FP_FINGER_STATUS_NEEDED
// tells that a capture waits for a finger.
ridgex_result ridgex_get_device_status(ridgex_handle dev, ridgex_device_status* dev_status) {
    return OnReader(dev, [&](session_t& session) {
        if (dev_status == nullptr) {
            return RIDGEX_E_INVALID_PARAMETER;
        }
        dev_status->size = sizeof(ridgex_device_status);
        dev_status->status = session.capturing ? RIDGEX_STATUS_BUSY : RIDGEX_STATUS_READY;
        const uint32_t finger = backend_t::instance().FingerStatus(session);
        dev_status->finger_detected = (finger & FP_FINGER_STATUS_PRESENT) != 0 ? 1 : 0;
        dev_status->status_data = finger;
        return RIDGEX_SUCCESS;
    });
}

// One resolution, the reader's own; the image's width and height in
// cap_word_3 and cap_word_4 once a capture has shown them, 0 before.
ridgex_result ridgex_get_device_capabilities(ridgex_handle dev, ridgex_device_caps* dev_caps) {
    return OnReader(dev, [&](session_t& session) {
        if (dev_caps == nullptr) {
            return RIDGEX_E_INVALID_PARAMETER;
        }
        constexpr uint32_t needed = RIDGEX_DEVICE_CAPS_FIXED_SIZE + 4;
        if (dev_caps->size < needed) {
            dev_caps->size = needed;
            return RIDGEX_E_MORE_DATA;
        }
        const fprint::geometry_t geometry = backend_t::instance().Geometry(session.name);
        std::memset(dev_caps, 0, needed);
        dev_caps->size = needed;
        dev_caps->cap_word_3 = geometry.known ? geometry.width : 0;
        dev_caps->cap_word_4 = geometry.known ? geometry.height : 0;
        dev_caps->resolution_cnt = 1;
        dev_caps->resolutions[0] = geometry.dpi;
        return RIDGEX_SUCCESS;
    });
}

ridgex_result ridgex_capture(ridgex_handle dev, ridgex_capture_param* capture_parm,
                             uint32_t timeout, ridgex_capture_result* capture_result,
                             uint32_t* image_size, uint8_t* image_data) {
    return OnReader(dev, [&](session_t& session) {
        return fprint::Capture(session, capture_parm, timeout, capture_result, image_size,
                               image_data);
    });
}

// Lock-free down to an eventfd write, so a signal handler may call it.
ridgex_result ridgex_cancel(ridgex_handle dev) {
    return OnReader(dev, [](session_t& session) { return fprint::Cancel(session); });
}

ridgex_result ridgex_start_stream(ridgex_handle dev) {
    return NotOffered(dev);
}

ridgex_result ridgex_stop_stream(ridgex_handle dev) {
    return NotOffered(dev);
}

ridgex_result ridgex_get_stream_image(ridgex_handle dev, ridgex_capture_param*,
                                      ridgex_capture_result*, uint32_t*, uint8_t*) {
    return NotOffered(dev);
}

ridgex_result ridgex_reset(ridgex_handle dev) {
    return NotOffered(dev);
}

ridgex_result ridgex_calibrate(ridgex_handle dev) {
    return NotOffered(dev);
}

ridgex_result ridgex_led_config(ridgex_handle dev, uint32_t, uint32_t, void*) {
    return NotOffered(dev);
}

ridgex_result ridgex_led_ctrl(ridgex_handle dev, uint32_t, uint32_t) {
    return NotOffered(dev);
}

ridgex_result ridgex_set_parameter(ridgex_handle dev, uint32_t, uint32_t, uint8_t*) {
    return NotOffered(dev);
}

ridgex_result ridgex_get_parameter(ridgex_handle dev, uint32_t, uint32_t, uint8_t*) {
    return NotOffered(dev);
}

}  // extern "C"
