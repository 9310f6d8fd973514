// The exported functions of the simulated backend library. Each counts its
// call, answers a status that the configuration forces, checks the handle,
// and hands over to the simulation. Fixture builds leave out single exports
// (RIDGEX_SIM_OMIT_*) to stand for incomplete libraries.
#include "backend_state.h"
#include "reader_ops.h"
#include "ridgex_sim.h"

using sim::backend_state;
using sim::operation;
using sim::session_t;

namespace {

// The frame of every operation on a handle. Lock-free until `body`, which
// keeps ridgex_cancel usable inside a signal handler.
template <typename Body>
ridgex_result on_handle(operation op, ridgex_handle dev, Body body) {
    backend_state& backend = backend_state::instance();
    session_t* session = backend.find(dev);
    sim::count(op, session == nullptr ? -1 : session->reader);
    if (const auto& forced = backend.forced(op)) {
        return *forced;
    }
    if (session == nullptr) {
        return RIDGEX_E_INVALID_DEVICE;
    }
    return body(*session);
}

// Opens and closes count per reader only when they succeed, so a test can
// match each reader's opens with its closes.
ridgex_result open_reader(operation op, const char* dev_name, uint32_t prio, ridgex_handle* pdev) {
    backend_state& backend = backend_state::instance();
    if (const auto& forced = backend.forced(op)) {
        sim::count(op);
        return *forced;
    }
    const ridgex_result status = backend.open(dev_name, prio, pdev);
    const session_t* session = status == RIDGEX_SUCCESS ? backend.find(*pdev) : nullptr;
    sim::count(op, session == nullptr ? -1 : session->reader);
    return status;
}

bool known_reader(int32_t reader) {
    return reader >= 0 && reader < backend_state::instance().reader_count();
}

}  // namespace

extern "C" {

#ifndef RIDGEX_SIM_OMIT_VERSION
ridgex_result ridgex_version(ridgex_version_info* version) {
    sim::count(operation::version);
    sim::backend_config config;
    std::string error;
    if (!backend_state::instance().current_config(config, error)) {
        return RIDGEX_E_FAILURE;
    }
    if (const auto& forced = config.forced[static_cast<uint32_t>(operation::version)]) {
        return *forced;
    }
    if (version == nullptr || version->size < sizeof(ridgex_version_info)) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    version->lib_major = config.lib_version[0];
    version->lib_minor = config.lib_version[1];
    version->lib_maintenance = config.lib_version[2];
    version->api_major = config.api_version[0];
    version->api_minor = config.api_version[1];
    version->api_maintenance = config.api_version[2];
    return RIDGEX_SUCCESS;
}
#endif

ridgex_result ridgex_init(void) {
    sim::count(operation::init);
    return backend_state::instance().init();
}

ridgex_result ridgex_exit(void) {
    sim::count(operation::exit);
    backend_state& backend = backend_state::instance();
    if (const auto& forced = backend.forced(operation::exit)) {
        return *forced;
    }
    return backend.exit();
}

ridgex_result ridgex_query_devices(uint32_t* dev_cnt, ridgex_device_info* dev_infos) {
    sim::count(operation::query_devices);
    backend_state& backend = backend_state::instance();
    if (const auto& forced = backend.forced(operation::query_devices)) {
        return *forced;
    }
    return backend.query_devices(dev_cnt, dev_infos);
}

ridgex_result ridgex_open(const char* dev_name, ridgex_handle* pdev) {
    return open_reader(operation::open, dev_name, RIDGEX_PRIORITY_EXCLUSIVE, pdev);
}

#ifndef RIDGEX_SIM_OMIT_OPEN_EXT
ridgex_result ridgex_open_ext(const char* dev_name, uint32_t prio, ridgex_handle* pdev) {
    return open_reader(operation::open_ext, dev_name, prio, pdev);
}
#endif

ridgex_result ridgex_close(ridgex_handle dev) {
    backend_state& backend = backend_state::instance();
    if (const auto& forced = backend.forced(operation::close)) {
        sim::count(operation::close);
        return *forced;
    }
    const ridgex_result status = backend.close(dev);
    if (status != RIDGEX_SUCCESS) {
        sim::count(operation::close);
    }
    return status;
}

ridgex_result ridgex_get_device_status(ridgex_handle dev, ridgex_device_status* dev_status) {
    return on_handle(operation::get_device_status, dev,
                     [&](session_t& session) { return sim::device_status(session, dev_status); });
}

ridgex_result ridgex_get_device_capabilities(ridgex_handle dev, ridgex_device_caps* dev_caps) {
    return on_handle(operation::get_device_capabilities, dev, [&](session_t& session) {
        return sim::device_capabilities(session, dev_caps);
    });
}

ridgex_result ridgex_capture(ridgex_handle dev, ridgex_capture_param* capture_parm,
                             uint32_t timeout, ridgex_capture_result* capture_result,
                             uint32_t* image_size, uint8_t* image_data) {
    return on_handle(operation::capture, dev, [&](session_t& session) {
        return sim::capture(session, capture_parm, timeout, capture_result, image_size, image_data);
    });
}

#ifndef RIDGEX_SIM_OMIT_PAD_IMAGE
ridgex_result ridgex_capture_pad_image(ridgex_handle dev, uint32_t image_proc, uint32_t*, uint32_t*,
                                       ridgex_image_info* image_info, uint32_t* image_size,
                                       uint8_t* image_data) {
    return on_handle(operation::capture_pad_image, dev, [&](session_t& session) {
        return sim::pad_image(session, image_proc, image_info, image_size, image_data);
    });
}
#endif

ridgex_result ridgex_cancel(ridgex_handle dev) {
    return on_handle(operation::cancel, dev,
                     [](session_t& session) { return sim::cancel(session); });
}

ridgex_result ridgex_start_stream(ridgex_handle dev) {
    return on_handle(operation::start_stream, dev,
                     [](session_t& session) { return sim::start_stream(session); });
}

ridgex_result ridgex_stop_stream(ridgex_handle dev) {
    return on_handle(operation::stop_stream, dev,
                     [](session_t& session) { return sim::stop_stream(session); });
}

ridgex_result ridgex_get_stream_image(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                      ridgex_capture_result* capture_result, uint32_t* image_size,
                                      uint8_t* image_data) {
    return on_handle(operation::get_stream_image, dev, [&](session_t& session) {
        return sim::stream_image(session, capture_parm, capture_result, image_size, image_data);
    });
}

ridgex_result ridgex_reset(ridgex_handle dev) {
    return on_handle(operation::reset, dev, [](session_t&) { return RIDGEX_SUCCESS; });
}

ridgex_result ridgex_calibrate(ridgex_handle dev) {
    return on_handle(operation::calibrate, dev, [](session_t&) { return RIDGEX_SUCCESS; });
}

ridgex_result ridgex_led_config(ridgex_handle dev, uint32_t led_id, uint32_t, void*) {
    return on_handle(operation::led_config, dev,
                     [&](session_t& session) { return sim::led_operation(session, led_id); });
}

#ifndef RIDGEX_SIM_OMIT_LED_CTRL
ridgex_result ridgex_led_ctrl(ridgex_handle dev, uint32_t led_id, uint32_t) {
    return on_handle(operation::led_ctrl, dev,
                     [&](session_t& session) { return sim::led_operation(session, led_id); });
}
#endif

ridgex_result ridgex_set_parameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                   uint8_t* buffer) {
    return on_handle(operation::set_parameter, dev, [&](session_t& session) {
        return sim::set_parameter(session, parm_id, size, buffer);
    });
}

ridgex_result ridgex_get_parameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                   uint8_t* buffer) {
    return on_handle(operation::get_parameter, dev, [&](session_t& session) {
        return sim::get_parameter(session, parm_id, size, buffer);
    });
}

uint32_t ridgex_sim_count(const char* operation_name, int32_t reader) {
    const auto op =
        operation_name == nullptr ? std::nullopt : sim::operation_by_name(operation_name);
    return op ? sim::counted(*op, reader) : UINT32_MAX;
}

void ridgex_sim_reset_counts(void) {
    sim::reset_counts();
}

uint32_t ridgex_sim_open_handles(void) {
    return backend_state::instance().open_sessions();
}

ridgex_result ridgex_sim_place_finger(int32_t reader) {
    if (!known_reader(reader)) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    backend_state& backend = backend_state::instance();
    backend.reader(reader).finger_placed = true;
    backend.wake_reader(reader);
    return RIDGEX_SUCCESS;
}

ridgex_result ridgex_sim_disconnect(int32_t reader) {
    if (!known_reader(reader)) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    backend_state& backend = backend_state::instance();
    backend.reader(reader).unplugged = true;
    backend.wake_reader(reader);
    return RIDGEX_SUCCESS;
}

int32_t ridgex_sim_wait_capturing(int32_t reader, uint32_t timeout_ms) {
    if (!known_reader(reader)) {
        return 0;
    }
    return backend_state::instance().wait_capturing(reader, timeout_ms) ? 1 : 0;
}

const char* ridgex_sim_config_error(void) {
    return backend_state::instance().config_error().c_str();
}

}  // extern "C"
