// A client session in which one allocation of the library fails, for every
// allocation in turn: each call answers as it would have, or
// RIDGEX_E_NO_MEMORY; nothing crashes or leaks (LeakSanitizer looks at the
// end); and afterwards the library is stopped and starts cleanly.
//
// The program is linked with --wrap for malloc, calloc, realloc and both
// forms of operator new and new[]: that redirects the calls of the objects
// linked into it, the library's among them, and leaves every shared library
// (the simulators, the C++ and C runtimes) alone.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <new>
#include <thread>

#include "liveness/spoof_detector.h"
#include "ridgex.h"
#include "support/temp_folder.h"
#include "trace/trace_front_end.h"

namespace {

std::atomic<bool> armed{false};
std::atomic<uint64_t> counted{0};
std::atomic<uint64_t> failing{0};

// Counts while armed, on every thread; the `failing`th allocation fails.
bool Fails() {
    return armed.load(std::memory_order_relaxed) && ++counted == failing.load();
}

}  // namespace

#define RIDGEX_WRAP(name, params, args, failure) \
    extern "C" void* __real_##name params;       \
    extern "C" void* __wrap_##name params {      \
        if (Fails()) {                           \
            failure;                             \
        }                                        \
        return __real_##name args;               \
    }
RIDGEX_WRAP(malloc, (size_t size), (size), return nullptr)
RIDGEX_WRAP(calloc, (size_t count, size_t size), (count, size), return nullptr)
RIDGEX_WRAP(realloc, (void* block, size_t size), (block, size), return nullptr)
RIDGEX_WRAP(_Znwm, (size_t size), (size), throw std::bad_alloc())
RIDGEX_WRAP(_Znam, (size_t size), (size), throw std::bad_alloc())
RIDGEX_WRAP(_ZnwmRKSt9nothrow_t, (size_t size, const std::nothrow_t& tag), (size, tag),
            return nullptr)
RIDGEX_WRAP(_ZnamRKSt9nothrow_t, (size_t size, const std::nothrow_t& tag), (size, tag),
            return nullptr)

namespace {

constexpr uint32_t kImageRoom = 32 * 32 + 46;

class OutOfMemory : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        // Slot 1 with two small readers, the other slots down.
        ridgex_test::WriteFile(folder_ / "down.conf", "result.init = 0x05BA000B\n");
        ridgex_test::WriteFile(folder_ / "amber.conf",
                               "[reader]\nwidth = 32\nheight = 32\n[reader]\nwidth = 32\n");
        setenv("RIDGEX_SIM_CONFIG", (folder_ / "down.conf").c_str(), 1);
        setenv("RIDGEX_SIM_CONFIG_AMBER", (folder_ / "amber.conf").c_str(), 1);
        // The built-in backend, with one small reader that a finger touches
        // as soon as an acquisition starts.
        std::filesystem::create_directories(folder_.path() / "units");
        ridgex_test::WriteFile(folder_ / "units/slvhost.service", "[Unit]\n");
        ridgex_test::WriteFile(folder_ / "tavlo.conf",
                               "[reader]\nwidth = 32\nheight = 32\nfinger_every_ms = 1\n");
        setenv("SYSTEMD_UNIT_PATH", (folder_ / "units").c_str(), 1);
        setenv("RIDGEX_TAVLO_SIM_CONFIG", (folder_ / "tavlo.conf").c_str(), 1);
        registry_.Write(GetParam()
                            ? ridgex_test::kTracingKey + "\"DoTrace\"=dword:1\n\"FileName\"=\"" +
                                  folder_ / "sweep.trc3" + "\"\n"
                            : "");
        // The test program is not the library: the models lie in its folder.
        SpoofDetector::module_path.store(RIDGEX_LIB_DIR "/libridgex.so");
    }

    // Runs the session with the `fail_at`th allocation failing (0: none);
    // gives how many allocations it made.
    uint64_t Run(uint64_t fail_at) {
        SlvTraceNS::RestoreLoadState();  // each run starts as at load
        fail_at_ = fail_at;
        counted = 0;
        failing = fail_at;
        armed = true;
        Session();
        armed = false;
        return counted;
    }

    // True when `status` is the answer with memory enough; any other must
    // be `short_of_memory`: RIDGEX_E_NO_MEMORY, or the built-in backend's
    // own code when its table of open readers cannot grow.
#define AS(call, expected) As(call, expected, #call)
#define AS_BUILT_IN(call, expected) As(call, expected, #call, kBuiltInNoMemory)
    static constexpr ridgex_result kBuiltInNoMemory = 0x8007000Eu;
    bool As(ridgex_result status, ridgex_result expected, const char* step,
            ridgex_result short_of_memory = RIDGEX_E_NO_MEMORY) {
        if (status != expected && status != short_of_memory) {
            EXPECT_EQ(status, RIDGEX_E_NO_MEMORY) << step << ", allocation " << fail_at_;
        }
        return status == expected;
    }

    // A fresh result record, and `room` bytes for the image.
    void Prepare(uint32_t room) {
        result_ = ridgex_capture_result{};
        result_.size = sizeof(result_);
        result_.info.size = sizeof(result_.info);
        size_ = room;
    }
    ridgex_result Capture(ridgex_handle dev, uint32_t room) {
        Prepare(room);
        return ridgex_capture(dev, &parm_, 2000, &result_, &size_, room ? image_ : nullptr);
    }

    static void Delivered(void* me, uint32_t, uint32_t, ridgex_capture_callback_data*) {
        ++static_cast<OutOfMemory*>(me)->callbacks_;
    }

    // Allocates nothing on the test's side.
    void Session() {
        if (!AS(ridgex_init(), RIDGEX_SUCCESS)) {
            return;
        }
        ridgex_device_info infos[3] = {};
        infos[0].size = sizeof(infos[0]);
        uint32_t count = 3;
        ridgex_handle dev = nullptr;
        uint8_t byte = 1;
        // The built-in backend's reader comes first.
        if (AS(ridgex_query_devices(&count, infos), RIDGEX_SUCCESS) &&
            AS_BUILT_IN(ridgex_open(infos[0].name, &dev), RIDGEX_SUCCESS)) {
            AS(Capture(dev, kImageRoom), RIDGEX_SUCCESS);
            AS(ridgex_close(dev), RIDGEX_SUCCESS);
        }
        if (AS(ridgex_open("$01$sim-amber-0", &dev), RIDGEX_SUCCESS)) {
            auto* caps = reinterpret_cast<ridgex_device_caps*>(image_);
            caps->size = sizeof(image_);
            AS(ridgex_get_device_capabilities(dev, caps), RIDGEX_SUCCESS);
            ridgex_device_status status{};
            status.size = sizeof(status);
            AS(ridgex_get_device_status(dev, &status), RIDGEX_SUCCESS);
            AS(ridgex_set_parameter(dev, RIDGEX_PARMID_PAD_ENABLE, 1, &byte), RIDGEX_SUCCESS);
            AS(Capture(dev, kImageRoom), RIDGEX_SUCCESS);
            callbacks_ = 0;
            if (AS(ridgex_capture_async(dev, &parm_, this, Delivered), RIDGEX_SUCCESS)) {
                for (int ms = 0; ms < 500 && callbacks_ == 0; ++ms) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
                AS(ridgex_cancel(dev), RIDGEX_SUCCESS);
            }
            AS(ridgex_get_parameter(dev, RIDGEX_PARMID_PAD_ENABLE, 1, &byte), RIDGEX_SUCCESS);
            AS(ridgex_close(dev), RIDGEX_SUCCESS);
        }
        if (AS(ridgex_open_ext(nullptr, RIDGEX_PRIORITY_SHARED, &dev), RIDGEX_SUCCESS)) {
            AS(Capture(dev, 0), RIDGEX_E_MORE_DATA);
            if (AS(ridgex_start_stream(dev), RIDGEX_SUCCESS)) {
                Prepare(kImageRoom);
                AS(ridgex_get_stream_image(dev, &parm_, &result_, &size_, image_), RIDGEX_SUCCESS);
                AS(ridgex_stop_stream(dev), RIDGEX_SUCCESS);
            }
            AS(ridgex_set_parameter(dev, RIDGEX_PARMID_LOWER_107, 1, &byte), RIDGEX_SUCCESS);
            AS(ridgex_close(dev), RIDGEX_SUCCESS);
        }
        AS(ridgex_exit(), RIDGEX_SUCCESS);
    }

    ridgex_test::TempFolder folder_;
    ridgex_test::RegistryFile registry_{folder_};
    uint64_t fail_at_ = 0;
    ridgex_capture_param parm_ = {sizeof(parm_), RIDGEX_IMG_FMT_ISO19794, 0, 500};
    ridgex_capture_result result_ = {};
    uint8_t image_[kImageRoom] = {};
    uint32_t size_ = 0;
    std::atomic<uint32_t> callbacks_{0};
};

TEST_P(OutOfMemory, EveryAllocationMayFail) {
    uint64_t made = Run(0);
    ASSERT_GT(made, 10u);
    for (uint64_t fail_at = 1; fail_at <= made && !HasFailure(); ++fail_at) {
        made = std::max(made, Run(fail_at));
        // Stopped: no table, and the count is back at 0 after a clean run.
        uint32_t count = 0;
        ASSERT_EQ(ridgex_query_devices(&count, nullptr), RIDGEX_E_FAILURE) << fail_at;
        Run(0);
        ASSERT_EQ(ridgex_exit(), RIDGEX_E_FAILURE) << fail_at;
    }
    std::printf("%llu allocations\n", static_cast<unsigned long long>(made));
}

INSTANTIATE_TEST_SUITE_P(Tracing, OutOfMemory, ::testing::Bool());

}  // namespace
