// Status, capabilities, streams, LEDs and parameters of the simulated readers.
#include "reader_ops.h"

#include <algorithm>
#include <cstring>

namespace sim {
namespace {

constexpr uint32_t sensor_info_size = 48;
constexpr uint32_t largest_parameter = 256;

void put_u32(uint8_t* at, uint32_t value) {
    for (int i = 0; i < 4; ++i) {
        at[i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

// Parameter 771: the product text in bytes 0 to 31, then little-endian
// words: sensor code at 32, width at 36, height at 40, resolution at 44.
ridgex_result sensor_info(const reader_config& reader, uint32_t size, uint8_t* buffer) {
    if (!reader.sensor_code) {
        return RIDGEX_E_NOT_IMPLEMENTED;
    }
    if (size < sensor_info_size) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    std::memset(buffer, 0, sensor_info_size);
    std::memcpy(buffer, reader.product.data(), std::min<size_t>(reader.product.size(), 31));
    put_u32(buffer + 32, *reader.sensor_code);
    put_u32(buffer + 36, reader.width);
    put_u32(buffer + 40, reader.height);
    put_u32(buffer + 44, reader.native_dpi());
    return RIDGEX_SUCCESS;
}

const reader_config& config_of(const session_t& session) {
    return backend_state::instance().reader_config_of(session);
}

reader_state_t& state_of(const session_t& session) {
    return backend_state::instance().reader(session.reader);
}

}  // namespace

ridgex_result device_status(session_t& session, ridgex_device_status* dev_status) {
    if (dev_status == nullptr) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    const reader_state_t& state = state_of(session);
    const bool busy = state.capturing.load() != nullptr || state.streaming.load() != nullptr;
    dev_status->size = sizeof(ridgex_device_status);
    dev_status->status = busy ? RIDGEX_STATUS_BUSY : RIDGEX_STATUS_READY;
    dev_status->finger_detected = state.finger_placed ? 1 : 0;
    dev_status->status_data = config_of(session).status_data;
    return RIDGEX_SUCCESS;
}

ridgex_result device_capabilities(session_t& session, ridgex_device_caps* dev_caps) {
    if (dev_caps == nullptr) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    const reader_config& reader = config_of(session);
    const auto count = static_cast<uint32_t>(reader.resolutions.size());
    const uint32_t needed = RIDGEX_DEVICE_CAPS_FIXED_SIZE + 4 * count;
    if (dev_caps->size < needed) {
        dev_caps->size = needed;
        return RIDGEX_E_MORE_DATA;
    }
    dev_caps->size = needed;
    dev_caps->cap_word_1 = reader.cap_word_1;
    dev_caps->can_stream = reader.can_stream;
    dev_caps->cap_word_3 = reader.cap_word_3;
    dev_caps->cap_word_4 = reader.cap_word_4;
    dev_caps->cap_word_5 = reader.cap_word_5;
    dev_caps->cap_word_6 = reader.cap_word_6;
    dev_caps->led_mask = reader.led_mask;
    dev_caps->cap_word_8 = reader.cap_word_8;
    dev_caps->cap_word_9 = reader.cap_word_9;
    dev_caps->can_proc_mode1 = reader.can_proc_mode1;
    dev_caps->resolution_cnt = count;
    // The record is variable: the resolutions run past the declared array.
    std::memcpy(reinterpret_cast<uint8_t*>(dev_caps) + RIDGEX_DEVICE_CAPS_FIXED_SIZE,
                reader.resolutions.data(), 4 * count);
    return RIDGEX_SUCCESS;
}

ridgex_result start_stream(session_t& session) {
    if (config_of(session).can_stream == 0) {
        return RIDGEX_E_NOT_IMPLEMENTED;
    }
    reader_state_t& state = state_of(session);
    session_t* idle = nullptr;
    if (!state.streaming.compare_exchange_strong(idle, &session)) {
        return RIDGEX_E_DEVICE_BUSY;
    }
    if (state.capturing.load() != nullptr) {
        state.streaming = nullptr;
        return RIDGEX_E_DEVICE_BUSY;
    }
    return RIDGEX_SUCCESS;
}

ridgex_result stop_stream(session_t& session) {
    session_t* self = &session;
    state_of(session).streaming.compare_exchange_strong(self, nullptr);
    return RIDGEX_SUCCESS;
}

ridgex_result led_operation(session_t& session, uint32_t led_id) {
    const uint32_t mask = config_of(session).led_mask;
    if (mask == 0) {
        return RIDGEX_E_NOT_IMPLEMENTED;
    }
    return led_id != 0 && (led_id & ~mask) == 0 ? RIDGEX_SUCCESS : RIDGEX_E_INVALID_PARAMETER;
}

ridgex_result set_parameter(session_t& session, uint32_t parm_id, uint32_t size, uint8_t* buffer) {
    if (buffer == nullptr || size == 0 || size > largest_parameter ||
        parm_id == RIDGEX_PARMID_SENSOR_INFO) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    std::lock_guard guard(session.parameters_lock);
    session.parameters[parm_id].assign(buffer, buffer + size);
    return RIDGEX_SUCCESS;
}

ridgex_result get_parameter(session_t& session, uint32_t parm_id, uint32_t size, uint8_t* buffer) {
    if (buffer == nullptr || size == 0) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    if (parm_id == RIDGEX_PARMID_SENSOR_INFO) {
        return sensor_info(config_of(session), size, buffer);
    }
    std::lock_guard guard(session.parameters_lock);
    const auto stored = session.parameters.find(parm_id);
    if (stored == session.parameters.end()) {
        return RIDGEX_E_NOT_IMPLEMENTED;
    }
    if (size < stored->second.size()) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    std::copy(stored->second.begin(), stored->second.end(), buffer);
    return RIDGEX_SUCCESS;
}

}  // namespace sim
