// What the built-in backend's capture and stream tests share: records as a
// client fills them, captures on threads of their own, the simulator's
// reports, and image records of the reader library built by hand.
#pragma once

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "shim_fixture.h"
#include "support/thread_asleep.h"

namespace shim_test {

constexpr uint8_t kCanary = 0xA5;
// Bytes behind the room that a capture is given, which it must never write.
constexpr uint32_t kGuard = 64;

inline ridgex_capture_param Param(uint32_t image_fmt = RIDGEX_IMG_FMT_RAW,
                                  uint32_t image_proc = RIDGEX_IMG_PROC_DEFAULT) {
    return {sizeof(ridgex_capture_param), image_fmt, image_proc, 500};
}

inline ridgex_capture_result Result() {
    ridgex_capture_result result{};
    result.size = sizeof(result);
    result.info.size = sizeof(result.info);
    return result;
}

// One raw report of the simulator with a single parameter, delivered
// before this returns.
inline void Report(int32_t reader, uint32_t group, uint32_t type, uint32_t id = 0,
                   uint32_t value = 0, uint32_t param_count = 1) {
    Control<tavlo_sim_report_fn>("tavlo_sim_report")(reader, group, type, param_count, &id, &value);
    Control<tavlo_sim_flush_fn>("tavlo_sim_flush")();
}

inline void Quality(int32_t reader, uint32_t code) {
    Report(reader, 3, 0, 5, code);
}

inline void Finger(int32_t reader) {
    Control<tavlo_sim_place_finger_fn>("tavlo_sim_place_finger")(reader);
    Control<tavlo_sim_flush_fn>("tavlo_sim_flush")();
}

inline void ReportImage(int32_t reader, const std::vector<uint8_t>& record) {
    Control<tavlo_sim_report_image_fn>("tavlo_sim_report_image")(
        reader, record.data(), static_cast<uint32_t>(record.size()));
    Control<tavlo_sim_flush_fn>("tavlo_sim_flush")();
}

inline uint32_t AcquisitionPriority(int32_t reader) {
    return Control<tavlo_sim_acquisition_priority_fn>("tavlo_sim_acquisition_priority")(reader);
}

// The reader library's image record: its fields, then pixel i of value
// i * 7 (mod 256) from offset 0x50.
inline std::vector<uint8_t> ImageRecord(uint32_t width, uint32_t height, uint32_t resolution) {
    constexpr uint32_t kPixelOffset = 0x50;
    std::vector<uint8_t> record(kPixelOffset + width * height);
    const auto put = [&](size_t offset, uint32_t value) {
        std::memcpy(record.data() + offset, &value, sizeof(value));
    };
    put(0x00, static_cast<uint32_t>(record.size()));
    put(0x28, kPixelOffset);
    put(0x40, width);
    put(0x44, height);
    put(0x48, resolution);
    for (uint32_t i = 0; i < width * height; ++i) {
        record[kPixelOffset + i] = static_cast<uint8_t>(i * 7);
    }
    return record;
}

// A blocking capture on a thread of its own, with `room` bytes and a guard
// of canaries behind them: through the exports, or with `in_backend` on a
// handle of the backend itself.
struct capture_run {
    capture_run(ridgex_handle dev, uint32_t room, ridgex_capture_param parm_in = Param(),
                uint32_t timeout = RIDGEX_TIMEOUT_INFINITE, bool in_backend = false)
        : parm(parm_in), size(room), image(room + kGuard, kCanary), thread([=, this] {
              tid = gettid();
              status = in_backend
                           ? CFpapiShim::Instance().Capture(dev, &parm, timeout, &result, &size,
                                                            image.data())
                           : ridgex_capture(dev, &parm, timeout, &result, &size, image.data());
          }) {}
    ~capture_run() { Join(); }
    capture_run(const capture_run&) = delete;
    capture_run& operator=(const capture_run&) = delete;

    // True once the capture sleeps in its wait for an event.
    bool Armed() {
        while (tid == 0) {
            std::this_thread::yield();
        }
        return WaitAsleep(tid);
    }
    void Join() {
        if (thread.joinable()) {
            thread.join();
        }
    }

    ridgex_capture_param parm;
    ridgex_capture_result result = Result();
    uint32_t size;
    std::vector<uint8_t> image;
    ridgex_result status = 0xFFFFFFFFu;
    std::atomic<pid_t> tid{0};
    std::thread thread;
};

}  // namespace shim_test
