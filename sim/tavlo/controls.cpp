// The test controls: forced codes, reports on demand and the log.
#include <cstring>

#include "reader_library.h"
#include "result_codes.h"

namespace tavlo_sim {

void reader_library::set_init_status(int32_t status) {
    std::lock_guard lock(mutex_);
    init_status_ = status;
}

uint32_t reader_library::init_calls() {
    std::lock_guard lock(mutex_);
    return init_calls_;
}

uint32_t reader_library::term_calls() {
    std::lock_guard lock(mutex_);
    return term_calls_;
}

void reader_library::fail(const char* operation, int32_t code, uint32_t times) {
    std::lock_guard lock(mutex_);
    if (code == kOk) {
        forced_.erase(operation);
    } else {
        forced_[operation] = {code, times};
    }
}

int32_t reader_library::place_finger(int32_t reader) {
    std::lock_guard lock(mutex_);
    if (reader < 0 || static_cast<size_t>(reader) >= readers_.size() ||
        !has_started_acquisition(reader)) {
        return -1;
    }
    post_finger(reader);
    return 0;
}

void reader_library::post_finger(int32_t reader) {
    const reader_config& config = readers_[reader].config;
    post(reader, event_report(config.id, 2, 4));
    if (config.quality != 0) {
        post(reader, quality_report(config.id, config.quality));
    } else {
        post_image(reader);
    }
    post(reader, event_report(config.id, 2, 7));
}

int32_t reader_library::send(int32_t reader, report message) {
    std::lock_guard lock(mutex_);
    if (reader >= 0 && static_cast<size_t>(reader) < readers_.size()) {
        message.device_id = readers_[reader].config.id;
    } else if (reader != -1) {
        return -1;
    }
    if (!has_started_acquisition(reader)) {
        return -1;
    }
    post(reader, std::move(message));
    return 0;
}

void reader_library::flush() {
    events_.flush();
    stops_.flush();
}

uint32_t reader_library::acquisition_priority(int32_t reader) {
    std::lock_guard lock(mutex_);
    for (const auto& [handle, live] : acquisitions_) {
        if (live.started && live.reader == reader) {
            return live.priority;
        }
    }
    return 0;
}

uint32_t reader_library::live_acquisitions() {
    std::lock_guard lock(mutex_);
    return static_cast<uint32_t>(acquisitions_.size());
}

uint32_t reader_library::calls(const char* operation) {
    std::lock_guard lock(mutex_);
    const auto found = calls_.find(operation);
    return found == calls_.end() ? 0 : found->second;
}

uint32_t reader_library::parameter_calls() {
    std::lock_guard lock(mutex_);
    return static_cast<uint32_t>(parameter_log_.size());
}

int32_t reader_library::parameter_call_at(uint32_t index, tavlo_sim_parameter_call* call) {
    std::lock_guard lock(mutex_);
    if (call == nullptr || index >= parameter_log_.size()) {
        return -1;
    }
    *call = parameter_log_[index];
    return 0;
}

void reader_library::clear_log() {
    std::lock_guard lock(mutex_);
    calls_.clear();
    parameter_log_.clear();
}

const char* reader_library::config_error() {
    std::lock_guard lock(mutex_);
    return config_error_.c_str();
}

}  // namespace tavlo_sim
