// Acquisitions and the delivery of their reports.
#include <chrono>
#include <cstdio>

#include "reader_library.h"
#include "result_codes.h"

namespace tavlo_sim {
namespace {

// The acquisition whose callback runs on this thread, so that a destroy
// from inside that callback does not wait for itself.
thread_local uint32_t running_callback = 0;

// How long a destroy waits for a running callback. A caller that destroys
// while holding a lock which that callback waits for would wait forever;
// it gets a message instead.
constexpr auto callback_patience = std::chrono::seconds(2);

}  // namespace

bool reader_library::has_started_acquisition(int32_t reader) const {
    for (const auto& [handle, running] : acquisitions_) {
        if (running.started && (reader < 0 || running.reader == reader)) {
            return true;
        }
    }
    return false;
}

int32_t reader_library::create(uint32_t priority, const uint8_t* id, uint32_t four,
                               tavlo::TavloCallback callback, void* context, uint32_t* handle) {
    std::lock_guard lock(mutex_);
    if (const auto refused = admit("TavloCreateAcquisitionWithCallback",
                                   id != nullptr && callback != nullptr && handle != nullptr)) {
        return *refused;
    }
    if ((priority != 2 && priority != 4) || four != 4) {
        return kInvalidArgument;
    }
    const int32_t reader = reader_index(id);
    if (reader < 0) {
        return kNotFound;
    }
    if (readers_[reader].config.held_exclusively) {
        return kAccessDenied;
    }
    // An exclusive acquisition shares the reader with nobody, in either
    // order of creation.
    for (const auto& [other, live] : acquisitions_) {
        if (live.reader == reader && (priority == 4 || live.priority == 4)) {
            return kAccessDenied;
        }
    }
    const uint32_t created = next_handle_++;
    if (next_handle_ == 0) {
        next_handle_ = 1;
    }
    acquisition& made = acquisitions_[created];
    made.reader = reader;
    made.priority = priority;
    made.callback = callback;
    made.context = context;
    *handle = created;
    return kOk;
}

int32_t reader_library::start(uint32_t handle) {
    std::lock_guard lock(mutex_);
    if (const auto forced = enter("TavloStartAcquisition")) {
        return *forced;
    }
    const auto found = acquisitions_.find(handle);
    if (found == acquisitions_.end()) {
        return kInvalidHandle;
    }
    if (readers_[found->second.reader].config.held_exclusively) {
        return kAccessDenied;
    }
    found->second.started = true;
    reader_state& reader = readers_[found->second.reader];
    if (reader.config.finger_every_ms != 0) {
        reader.next_finger = std::chrono::steady_clock::now() +
                             std::chrono::milliseconds(reader.config.finger_every_ms);
        clock_changed_.notify_all();
    }
    return kOk;
}

int32_t reader_library::stop(uint32_t handle) {
    std::lock_guard lock(mutex_);
    const std::optional<int32_t> forced = enter("TavloStopAcquisition");
    // A pending stop still stops and reports; any other forced code does
    // nothing at all.
    if (forced && *forced != kIoPending) {
        return *forced;
    }
    const auto found = acquisitions_.find(handle);
    if (found == acquisitions_.end()) {
        return kInvalidHandle;
    }
    found->second.started = false;
    const report message = stop_report(readers_[found->second.reader].config.id);
    stops_.post([this, handle, message] { deliver(-1, handle, message); });
    return forced.value_or(kOk);
}

int32_t reader_library::destroy(uint32_t handle) {
    std::unique_lock lock(mutex_);
    if (const auto forced = enter("TavloDestroyAcquisition")) {
        return *forced;
    }
    const auto found = acquisitions_.find(handle);
    if (found == acquisitions_.end()) {
        return kInvalidHandle;
    }
    found->second.started = false;
    found->second.destroyed = true;
    const uint32_t own = running_callback == handle ? 1 : 0;
    const bool returned = callback_returned_.wait_for(lock, callback_patience, [&] {
        const auto still = acquisitions_.find(handle);
        return still == acquisitions_.end() || still->second.in_flight <= own;
    });
    if (!returned) {
        std::fprintf(stderr,
                     "ridgex simulated reader library: TavloDestroyAcquisition(%u) gave up "
                     "waiting for a callback; does the caller hold a lock that it needs?\n",
                     handle);
    }
    acquisitions_.erase(handle);
    return kOk;
}

void reader_library::post(int32_t reader, report message) {
    events_.post([this, reader, message = std::move(message)] { deliver(reader, 0, message); });
}

void reader_library::post_image(int32_t reader) {
    events_.post([this, reader, config = readers_[reader].config] {
        deliver(reader, 0, image_report(config.id, image_record(config)));
    });
}

// Runs on a delivery thread. `only_handle` names the one acquisition of a
// stop report, which is no longer started; other reports go to the started
// acquisitions of `reader`, or to a single one of any reader for -1.
void reader_library::deliver(int32_t reader, uint32_t only_handle, const report& message) {
    const report_layout layout = lay_out(message);
    std::unique_lock lock(mutex_);
    std::vector<uint32_t> targets;
    if (only_handle != 0) {
        targets.push_back(only_handle);
    } else {
        for (const auto& [handle, live] : acquisitions_) {
            if (live.started && (reader < 0 || live.reader == reader)) {
                targets.push_back(handle);
                if (reader < 0) {
                    break;
                }
            }
        }
    }
    for (const uint32_t handle : targets) {
        auto found = acquisitions_.find(handle);
        if (found == acquisitions_.end() || found->second.destroyed ||
            (only_handle == 0 && !found->second.started)) {
            continue;
        }
        ++found->second.in_flight;
        const tavlo::TavloCallback callback = found->second.callback;
        void* const context = found->second.context;
        lock.unlock();
        running_callback = handle;
        callback(context, layout.header.data(), layout.param_count,
                 layout.params.empty() ? nullptr : layout.params.data());
        running_callback = 0;
        lock.lock();
        found = acquisitions_.find(handle);
        if (found != acquisitions_.end()) {
            --found->second.in_flight;
        }
        callback_returned_.notify_all();
    }
}

}  // namespace tavlo_sim
