// Start, stop, the readers' facts and their parameters.
#include "reader_library.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "result_codes.h"

namespace tavlo_sim {

reader_library& library() {
    static reader_library instance;
    return instance;
}

reader_library::~reader_library() {
    // At unload or exit no thread of the simulator outlives the file.
    shut_down();
}

void reader_library::shut_down() {
    {
        std::lock_guard lock(mutex_);
        clock_stopping_ = true;
    }
    clock_changed_.notify_all();
    if (finger_clock_.joinable()) {
        finger_clock_.join();
    }
    events_.stop();
    stops_.stop();
}

void reader_library::run_finger_clock() {
    using clock = std::chrono::steady_clock;
    std::unique_lock lock(mutex_);
    while (!clock_stopping_) {
        clock::time_point due = clock::time_point::max();
        for (const reader_state& reader : readers_) {
            if (reader.next_finger != clock::time_point{} && reader.next_finger < due) {
                due = reader.next_finger;
            }
        }
        if (due == clock::time_point::max()) {
            clock_changed_.wait(lock);
        } else {
            clock_changed_.wait_until(lock, due);
        }
        const clock::time_point now = clock::now();
        for (size_t i = 0; i < readers_.size() && !clock_stopping_; ++i) {
            reader_state& reader = readers_[i];
            if (reader.next_finger == clock::time_point{} || reader.next_finger > now) {
                continue;
            }
            const auto index = static_cast<int32_t>(i);
            if (has_started_acquisition(index)) {
                post_finger(index);
                reader.next_finger = now + std::chrono::milliseconds(reader.config.finger_every_ms);
            } else {
                reader.next_finger = {};
            }
        }
    }
}

std::optional<int32_t> reader_library::enter(const std::string& operation) {
    ++calls_[operation];
    const auto forced = forced_.find(operation);
    if (forced == forced_.end()) {
        return std::nullopt;
    }
    const int32_t code = forced->second.code;
    if (forced->second.remaining != 0 && --forced->second.remaining == 0) {
        forced_.erase(forced);
    }
    return code;
}

std::optional<int32_t> reader_library::admit(const std::string& operation, bool pointers_given) {
    if (const auto forced = enter(operation)) {
        return forced;
    }
    if (!running_) {
        return kUnexpected;
    }
    if (!pointers_given) {
        return kPointer;
    }
    return std::nullopt;
}

int32_t reader_library::reader_index(const uint8_t* id) const {
    if (id == nullptr) {
        return -1;
    }
    for (size_t i = 0; i < readers_.size(); ++i) {
        if (std::memcmp(readers_[i].config.id.data(), id, 16) == 0) {
            return static_cast<int32_t>(i);
        }
    }
    return -1;
}

int32_t reader_library::init() {
    std::lock_guard lock(mutex_);
    ++init_calls_;
    if (const auto forced = enter("TavloInit")) {
        return *forced;
    }
    if (init_status_ != kOk || running_) {
        return init_status_;
    }
    std::vector<reader_config> configured;
    config_error_.clear();
    if (!load_config(configured, config_error_)) {
        std::fprintf(stderr, "ridgex simulated reader library: %s\n", config_error_.c_str());
        return kFail;
    }
    readers_.clear();
    for (auto& config : configured) {
        reader_state reader;
        reader.f003 = config.f003;
        reader.config = std::move(config);
        readers_.push_back(std::move(reader));
    }
    running_ = true;
    events_.start();
    stops_.start();
    clock_stopping_ = false;
    finger_clock_ = std::thread([this] { run_finger_clock(); });
    return kOk;
}

int32_t reader_library::term() {
    {
        std::lock_guard lock(mutex_);
        ++term_calls_;
        if (const auto forced = enter("TavloTerm")) {
            return *forced;
        }
        running_ = false;
    }
    // Outside the lock: a report being delivered may be waiting for it.
    shut_down();
    std::lock_guard lock(mutex_);
    acquisitions_.clear();
    readers_.clear();
    return kOk;
}

int32_t reader_library::enumerate(uint32_t* count, void** ids) {
    std::lock_guard lock(mutex_);
    if (const auto refused = admit("TavloEnumerateDevices", count != nullptr && ids != nullptr)) {
        return *refused;
    }
    *count = static_cast<uint32_t>(readers_.size());
    *ids = nullptr;
    if (!readers_.empty()) {
        auto* list = static_cast<uint8_t*>(std::malloc(readers_.size() * 16));
        for (size_t i = 0; i < readers_.size(); ++i) {
            std::memcpy(list + 16 * i, readers_[i].config.id.data(), 16);
        }
        *ids = list;
    }
    return kOk;
}

int32_t reader_library::device_info(const uint8_t* id, void* info) {
    std::lock_guard lock(mutex_);
    if (const auto refused = admit("TavloGetDeviceInfo", id != nullptr && info != nullptr)) {
        return *refused;
    }
    const int32_t index = reader_index(id);
    if (index < 0) {
        return kNotFound;
    }
    write_device_info(readers_[index].config, static_cast<uint8_t*>(info));
    return kOk;
}

int32_t reader_library::device_info_ex(const uint8_t* id, uint32_t group, uint32_t selector,
                                       void** block) {
    std::lock_guard lock(mutex_);
    if (const auto refused = admit("TavloGetDeviceInfoEx", id != nullptr && block != nullptr)) {
        return *refused;
    }
    *block = nullptr;
    const int32_t index = reader_index(id);
    if (index < 0) {
        return kNotFound;
    }
    const std::vector<uint8_t> bytes = device_info_block(readers_[index].config, selector);
    if (group != 3 || bytes.empty()) {
        return kInvalidArgument;
    }
    *block = std::malloc(bytes.size());
    std::memcpy(*block, bytes.data(), bytes.size());
    return kOk;
}

void reader_library::buffer_free(void* block) {
    {
        std::lock_guard lock(mutex_);
        ++calls_["TavloBufferFree"];
    }
    std::free(block);
}

int32_t reader_library::get_parameter(const uint8_t* id, uint32_t parameter,
                                      tavlo::TavloParameter* value) {
    return parameter_call(false, id, parameter, value);
}

int32_t reader_library::set_parameter(const uint8_t* id, uint32_t parameter,
                                      tavlo::TavloParameter* value) {
    return parameter_call(true, id, parameter, value);
}

int32_t reader_library::parameter_call(bool set, const uint8_t* id, uint32_t parameter,
                                       tavlo::TavloParameter* value) {
    std::lock_guard lock(mutex_);
    const std::optional<int32_t> forced =
        enter(set ? "TavloSetDeviceParameter" : "TavloGetDeviceParameter");
    const int32_t index = running_ ? reader_index(id) : -1;
    tavlo_sim_parameter_call entry{index, set ? 1u : 0u, parameter, 0, {}};
    const bool readable = value != nullptr && (value->size == 0 || value->value != nullptr);
    int32_t code = forced ? *forced : kOk;
    if (!forced) {
        if (!running_) {
            code = kUnexpected;
        } else if (id == nullptr || !readable) {
            code = kPointer;
        } else if (index < 0) {
            code = kNotFound;
        } else {
            code = apply_parameter(set, readers_[index], index, parameter, *value);
        }
    }
    if (value != nullptr) {
        entry.size = value->size;
        if (readable && (set || code >= 0)) {
            std::memcpy(entry.value, value->value, std::min<size_t>(value->size, 16));
        }
    }
    parameter_log_.push_back(entry);
    return code;
}

int32_t reader_library::apply_parameter(bool set, reader_state& reader, int32_t index,
                                        uint32_t parameter, tavlo::TavloParameter& value) {
    auto* bytes = static_cast<uint8_t*>(value.value);
    switch (parameter) {
        case tavlo::TAVLO_PARAM_STREAM_MODE:
            if (value.size < 1) {
                return kInvalidArgument;
            }
            if (set) {
                reader.stream_mode = bytes[0] == 1;
            } else {
                bytes[0] = reader.stream_mode ? 1 : 0;
            }
            return kOk;
        case tavlo::TAVLO_PARAM_STREAM_TRIGGER:
            if (!set) {
                return kNotSupported;
            }
            if (!reader.stream_mode) {
                return kUnexpected;
            }
            post_image(index);
            return kOk;
        case tavlo::TAVLO_PARAM_STATUS: {
            if (set) {
                return kNotSupported;
            }
            if (value.size < 16) {
                return kInvalidArgument;
            }
            const uint32_t status[4] = {16, 0, reader.config.finger_detected,
                                        reader.config.status_data};
            std::memcpy(bytes, status, sizeof status);
            return kOk;
        }
        case tavlo::TAVLO_PARAM_F003:
            if (value.size < 4) {
                return kInvalidArgument;
            }
            if (set) {
                std::memcpy(&reader.f003, bytes, 4);
            } else {
                std::memcpy(bytes, &reader.f003, 4);
            }
            return kOk;
        default:
            // Processing and LED settings change nothing a test can see
            // beyond the log; other ids are taken and can not be read.
            return set ? kOk : kNotSupported;
    }
}

}  // namespace tavlo_sim
