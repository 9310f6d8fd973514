// What the capture tests share: one simulated backend in slot 1 with the
// readers a test writes, its test controls, records filled as a client
// fills them, a recorder of asynchronous callbacks, and a way to stand
// between the library and two exports of the backend.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "ridgex.h"
#include "ridgex_sim.h"
#include "support/sim_backends.h"
#include "support/thread_asleep.h"

namespace capture_test {

using namespace std::chrono_literals;
using clock_type = std::chrono::steady_clock;

constexpr uint32_t kSlot = 1;

// Default geometry of a simulated reader.
constexpr uint32_t kWidth = 256;
constexpr uint32_t kImageBytes = kWidth * 360;
constexpr uint32_t kIsoHeader = 46;

inline ridgex_handle Handle(uintptr_t value) {
    return reinterpret_cast<ridgex_handle>(value);
}

inline ridgex_capture_param Param(uint32_t image_fmt = RIDGEX_IMG_FMT_RAW,
                                  uint32_t image_proc = RIDGEX_IMG_PROC_DEFAULT,
                                  uint32_t image_res = 500) {
    return {sizeof(ridgex_capture_param), image_fmt, image_proc, image_res};
}

inline ridgex_capture_result Result() {
    ridgex_capture_result result{};
    result.size = sizeof(result);
    result.info.size = sizeof(result.info);
    return result;
}

// A test control of the simulated backend in slot 1.
uint32_t SimCount(const char* operation, int32_t reader = -1);
void PlaceFinger(int32_t reader);
void Disconnect(int32_t reader);
// True once a capture waits for a finger on the reader.
bool WaitCapturing(int32_t reader, uint32_t timeout_ms = 5000);

// A reader section for the configuration file.
std::string Reader(const std::string& name, const std::string& settings = "");

// Polls `done` every millisecond until it holds or `limit` passes.
bool Eventually(const std::function<bool()>& done, std::chrono::milliseconds limit = 5000ms);

// The reader's status as the client sees it, or RIDGEX_STATUS_BUSY + 1 on
// failure.
uint32_t Status(ridgex_handle dev);
bool EventuallyReady(ridgex_handle dev);

// A blocking capture without a buffer: the size probe, or a refusal before it.
ridgex_result Probe(ridgex_handle dev, ridgex_capture_param parm = Param(),
                    ridgex_capture_result* result = nullptr, uint32_t* size = nullptr);

// How long `call` took.
clock_type::duration Timed(const std::function<void()>& call);

// Runs a blocking ridgex_capture on a thread of its own.
class capture_thread {
  public:
    capture_thread(ridgex_handle dev, ridgex_capture_param parm = Param(),
                   uint32_t timeout = RIDGEX_TIMEOUT_INFINITE);
    ~capture_thread();
    capture_thread(const capture_thread&) = delete;
    capture_thread& operator=(const capture_thread&) = delete;

    // Waits for the capture's return; false if it did not come in time.
    bool Join(std::chrono::milliseconds limit = 5000ms);
    pthread_t native() const { return thread_; }

    std::atomic<pid_t> tid{0};
    ridgex_result status = 0xFFFFFFFFu;
    ridgex_capture_result result = Result();
    uint32_t image_size = kImageBytes;
    std::vector<uint8_t> image = std::vector<uint8_t>(kImageBytes);

  private:
    static void* Run(void* self);

    ridgex_handle dev_;
    ridgex_capture_param parm_;
    uint32_t timeout_;
    pthread_t thread_{};
    std::atomic<bool> done_{false};
    bool joined_ = false;
};

// One call of the asynchronous callback, as the test saw it.
struct delivery {
    uint32_t size;
    uint32_t block_size;
    uint32_t error;
    ridgex_capture_param capture_parm;
    ridgex_capture_result capture_result;
    uint32_t image_size;
    const uint8_t* image_data;
    const void* block;
    bool image_behind_record;
    std::vector<uint8_t> image;
    pid_t thread;
};

// A callback that reported a capture without an image.
void ExpectNoImage(const delivery& seen, uint32_t quality, uint32_t error = RIDGEX_SUCCESS);

// Records every callback of a series; `react` runs inside the callback
// after the record was taken, with the number of the call (from 1).
class async_recorder {
  public:
    static void Callback(void* context, uint32_t reserved, uint32_t size,
                         ridgex_capture_callback_data* data);

    ridgex_result Start(ridgex_handle dev, ridgex_capture_param parm = Param());
    bool WaitFor(size_t count, std::chrono::milliseconds limit = 5000ms);
    size_t Count();
    delivery At(size_t index);

    std::function<void(size_t call, ridgex_capture_callback_data* data)> react;
    std::atomic<bool> in_callback{false};

  private:
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<delivery> deliveries_;
    ridgex_capture_param parm_{};
};

// Stands between the library and the ridgex_capture and ridgex_close exports
// of the backend in slot 1: the library resolves them to these wrappers
// while Start runs with `interpose` set. The wrappers forward to the
// simulator; what they add is set here.
struct interposed {
    // Bytes that a capture needs beyond what the simulator asks for: with
    // more room than that the simulator captures; with less the wrapper
    // answers the larger size with RIDGEX_E_MORE_DATA.
    static inline std::atomic<uint32_t> extra_room{0};
    // Runs before each capture is forwarded, with the room it was given.
    static inline std::function<void(uint32_t room)> before_capture;
    // The thread of the last close of a reader, and how many there were.
    static inline std::atomic<pid_t> close_thread{0};
    static inline std::atomic<uint32_t> closes{0};

    static void Reset();
};

// Holds captures at the backend's door, through interposed::before_capture:
// those with room, or else the size probes of asynchronous starts, wait
// there until Release.
class capture_gate {
  public:
    enum class holds { captures, size_probes };

    explicit capture_gate(holds which) {
        interposed::before_capture = [this, which](uint32_t room) {
            if ((room == 0) == (which == holds::size_probes)) {
                entered_ = true;
                Eventually([this] { return released_.load(); });
            }
        };
    }
    capture_gate(const capture_gate&) = delete;
    capture_gate& operator=(const capture_gate&) = delete;

    bool WaitEntered() {
        return Eventually([this] { return entered_.load(); });
    }
    void Release() { released_ = true; }

  private:
    std::atomic<bool> entered_{false};
    std::atomic<bool> released_{false};
};

// Starts the library with one backend in slot 1 and opens its readers.
class capture_fixture : public ::testing::Test {
  protected:
    void SetUp() override;
    // Waits for the capture threads of the test to end before the library
    // stops.
    void TearDown() override;
    // Writes `config` as slot 1's file, starts the library and opens the
    // reader `name` (prefix added). Null on failure.
    ridgex_handle Start(const std::string& config, const char* name = "r0", bool interpose = false);
    ridgex_handle Open(const char* name);

    sim_backends sims_;
    int threads_at_start_ = 0;
};

}  // namespace capture_test
