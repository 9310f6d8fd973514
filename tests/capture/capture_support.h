// What the capture tests share: one simulated backend in slot 1 with the
// readers a test writes, its test controls, a capture on a thread of its
// own, a recorder of asynchronous callbacks, and a way to stand between the
// library and two exports of the backend.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ridgex.h"
#include "ridgex_sim.h"
#include "support/sim_backends.h"
#include "support/thread_count.h"

namespace capture_test {

using namespace std::chrono_literals;

constexpr uint32_t kSlot = 1;
// Default geometry of a simulated reader.
constexpr uint32_t kWidth = 256;
constexpr uint32_t kImageBytes = kWidth * 360;
constexpr uint32_t kIsoHeader = 46;

inline ridgex_handle Handle(uintptr_t value) {
    return reinterpret_cast<ridgex_handle>(value);
}

inline ridgex_capture_param Param(uint32_t fmt = RIDGEX_IMG_FMT_RAW,
                                  uint32_t proc = RIDGEX_IMG_PROC_DEFAULT, uint32_t res = 500) {
    return {sizeof(ridgex_capture_param), fmt, proc, res};
}

inline ridgex_capture_result Result() {
    ridgex_capture_result result{};
    result.size = sizeof(result);
    result.info.size = sizeof(result.info);
    return result;
}

// A reader section for the configuration file.
inline std::string Reader(const std::string& name, const std::string& settings = "") {
    return "[reader]\nname = " + name + "\n" + settings + (settings.empty() ? "" : "\n");
}

// Polls `done` every millisecond until it holds or `limit` passes.
inline bool Eventually(const std::function<bool()>& done, std::chrono::milliseconds limit = 5s) {
    const auto end = std::chrono::steady_clock::now() + limit;
    for (; !done(); std::this_thread::sleep_for(1ms)) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
    }
    return true;
}

// Test controls of the simulated backend in slot 1.
inline uint32_t SimCount(const char* operation, int32_t reader = -1) {
    return sim_backends::count(kSlot, operation, reader);
}
inline void PlaceFinger(int32_t reader) {
    auto place =
        sim_backends::control<ridgex_sim_place_finger_fn>(kSlot, "ridgex_sim_place_finger");
    ASSERT_EQ(place(reader), RIDGEX_SUCCESS);
}
// True once a capture waits for a finger on the reader.
inline bool WaitCapturing(int32_t reader, uint32_t timeout_ms = 5000) {
    return sim_backends::control<ridgex_sim_wait_capturing_fn>(kSlot, "ridgex_sim_wait_capturing")(
               reader, timeout_ms) == 1;
}

// The reader's status as the client sees it, or RIDGEX_STATUS_BUSY + 1 on
// failure.
inline uint32_t Status(ridgex_handle dev) {
    ridgex_device_status status{};
    status.size = sizeof(status);
    return ridgex_get_device_status(dev, &status) == RIDGEX_SUCCESS ? status.status
                                                                    : RIDGEX_STATUS_BUSY + 1;
}
inline bool EventuallyReady(ridgex_handle dev) {
    return Eventually([dev] { return Status(dev) == RIDGEX_STATUS_READY; });
}

// A blocking capture without a buffer: the size probe, or a refusal before it.
inline ridgex_result Probe(ridgex_handle dev, ridgex_capture_param parm = Param(),
                           ridgex_capture_result* result = nullptr, uint32_t* size = nullptr) {
    ridgex_capture_result own = Result();
    uint32_t own_size = 0;
    return ridgex_capture(dev, &parm, 0, result != nullptr ? result : &own,
                          size != nullptr ? size : &own_size, nullptr);
}

// A blocking capture without a time limit on a thread of its own.
struct capture_thread {
    explicit capture_thread(ridgex_handle dev)
        : thread([this, dev] {
              tid = gettid();
              ridgex_capture_param parm = Param();
              std::vector<uint8_t> image(kImageBytes);
              uint32_t size = kImageBytes;
              status =
                  ridgex_capture(dev, &parm, RIDGEX_TIMEOUT_INFINITE, &result, &size, image.data());
              done = true;
          }) {}
    ~capture_thread() { Join(); }
    // Waits for the capture's return; false if it did not come in time.
    bool Join() {
        if (Eventually([this] { return done.load(); }) && thread.joinable()) {
            thread.join();
        }
        return done;
    }

    std::atomic<pid_t> tid{0};
    std::atomic<bool> done{false};
    ridgex_result status = 0xFFFFFFFFu;
    ridgex_capture_result result = Result();
    std::thread thread;
};

// One call of the asynchronous callback, as the test saw it: the record,
// the size the callback was given, where the record lay, the thread, and
// a copy of the image.
struct delivery : ridgex_capture_callback_data {
    uint32_t size;
    const uint8_t* block;
    pid_t thread;
    std::vector<uint8_t> image;
};

// A callback that reported a capture without an image.
inline void ExpectNoImage(const delivery& seen, uint32_t quality, uint32_t error = RIDGEX_SUCCESS) {
    EXPECT_EQ(seen.error, error);
    EXPECT_EQ(seen.capture_result.success, 0u);
    EXPECT_EQ(seen.capture_result.quality, quality);
    EXPECT_EQ(seen.size, 72u);
    EXPECT_EQ(seen.image_size, 0u);
    EXPECT_EQ(seen.image_data, nullptr);
}

// Records every callback of a series; `react` runs inside the callback
// after the record was taken, with the number of the call (from 1).
class async_recorder {
  public:
    static void Callback(void* context, uint32_t, uint32_t size,
                         ridgex_capture_callback_data* data) {
        auto* me = static_cast<async_recorder*>(context);
        const uint8_t* image = data->image_data;
        std::unique_lock guard(me->lock_);
        me->deliveries_.push_back({*data,
                                   size,
                                   reinterpret_cast<const uint8_t*>(data),
                                   gettid(),
                                   {image, image + (image != nullptr ? data->image_size : 0)}});
        const size_t call = me->deliveries_.size();
        guard.unlock();
        if (me->react) {
            me->react(call, data);
        }
    }
    ridgex_result Start(ridgex_handle dev, ridgex_capture_param parm = Param()) {
        parm_ = parm;
        return ridgex_capture_async(dev, &parm_, this, Callback);
    }
    bool WaitFor(size_t count, std::chrono::milliseconds limit = 5s) {
        return Eventually([&] { return Count() >= count; }, limit);
    }
    size_t Count() {
        std::lock_guard guard(lock_);
        return deliveries_.size();
    }
    delivery At(size_t index) {
        std::lock_guard guard(lock_);
        return deliveries_.at(index);
    }

    std::function<void(size_t call, ridgex_capture_callback_data* data)> react;

  private:
    std::mutex lock_;
    std::vector<delivery> deliveries_;
    ridgex_capture_param parm_{};
};

// Stands between the library and the ridgex_capture and ridgex_close exports
// of the backend in slot 1 while Start runs with `interpose` set.
struct interposed {
    // Bytes that a capture needs beyond what the simulator asks for: with
    // less room the wrapper answers the larger size with RIDGEX_E_MORE_DATA.
    static inline std::atomic<uint32_t> extra_room{0};
    // Runs before each capture is forwarded, with the room it was given.
    static inline std::function<void(uint32_t room)> before_capture;
    // The thread of the last close of a reader, and how many there were.
    static inline std::atomic<pid_t> close_thread{0};
    static inline std::atomic<uint32_t> closes{0};
};

// Holds captures at the backend's door until Release: those with room
// (`probes` false), or else the size probes of asynchronous starts.
class capture_gate {
  public:
    explicit capture_gate(bool probes) {
        interposed::before_capture = [this, probes](uint32_t room) {
            if ((room == 0) == probes) {
                entered_ = true;
                Eventually([this] { return released_.load(); });
            }
        };
    }
    bool WaitEntered() {
        return Eventually([this] { return entered_.load(); });
    }
    void Release() { released_ = true; }

  private:
    std::atomic<bool> entered_{false}, released_{false};
};

// Starts the library with one backend in slot 1 and opens its readers.
class capture_fixture : public ::testing::Test {
  protected:
    void SetUp() override;
    // Waits for the capture threads of the test to end before the library
    // stops.
    void TearDown() override {
        EXPECT_TRUE(WaitForThreadCount(threads_at_start_)) << "a capture thread did not end";
        // A thread's last step is the count of running capture threads,
        // which the stop of the library reads: that orders the thread's
        // work before it for ThreadSanitizer, which cannot see a detached
        // thread end.
    }
    // Writes `config` as slot 1's file, starts the library and opens the
    // reader `name` (prefix added). Null on failure.
    ridgex_handle Start(const std::string& config, const char* name = "r0", bool interpose = false);
    ridgex_handle Open(const char* name) {
        ridgex_handle dev = nullptr;
        EXPECT_EQ(ridgex_open(("$01$" + std::string(name)).c_str(), &dev), RIDGEX_SUCCESS) << name;
        return dev;
    }

    sim_backends sims_;
    int threads_at_start_ = 0;
};

}  // namespace capture_test
