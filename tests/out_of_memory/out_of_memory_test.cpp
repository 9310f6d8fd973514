// A client session in which one allocation of the library fails, for every
// allocation in turn: each call answers as it would have, or
// RIDGEX_E_NO_MEMORY; nothing crashes or leaks (LeakSanitizer looks at the
// end); and afterwards the library is stopped and starts cleanly.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "failing_allocator.h"
#include "liveness/spoof_detector.h"
#include "ridgex.h"
#include "support/temp_folder.h"
#include "trace/trace_front_end.h"

namespace {

using ridgex_test::TempFolder;

constexpr uint32_t kImageRoom = 32 * 32 + 46;

// What the steps share. Nothing in a step allocates on the test's side.
struct session {
    ridgex_handle dev[2] = {};
    ridgex_capture_param parm = {sizeof(ridgex_capture_param), RIDGEX_IMG_FMT_ISO19794,
                                 RIDGEX_IMG_PROC_DEFAULT, 500};
    ridgex_capture_result result = {};
    alignas(8) uint8_t buffer[kImageRoom] = {};
    uint32_t size = 0;
    std::atomic<uint32_t> callbacks{0};

    ridgex_result Capture(int which, uint32_t room) {
        result = {};
        result.size = sizeof(result);
        result.info.size = sizeof(result.info);
        size = room;
        return ridgex_capture(dev[which], &parm, 2000, &result, &size, room ? buffer : nullptr);
    }
};

void Delivered(void* context, uint32_t, uint32_t, ridgex_capture_callback_data*) {
    ++static_cast<session*>(context)->callbacks;
}

// Each step runs only when the steps it needs answered as they should.
enum step_id { kInit, kOpen, kOpenExt, kLiveness, kAsync, kStream, kSteps = 32 };
constexpr uint32_t Needs(std::initializer_list<step_id> ids) {
    uint32_t mask = 0;
    for (step_id id : ids) {
        mask |= 1u << id;
    }
    return mask;
}

struct step {
    const char* name;
    uint32_t needs;
    ridgex_result expected;
    ridgex_result (*call)(session&);
    int id = kSteps;
};

// Slot 1 with the simulator's two readers, the other slots down.
const step kSession[] = {
    {"init", 0, RIDGEX_SUCCESS, [](session&) { return ridgex_init(); }, kInit},
    {"count", Needs({kInit}), RIDGEX_E_MORE_DATA,
     [](session&) {
         uint32_t count = 0;
         return ridgex_query_devices(&count, nullptr);
     }},
    {"list", Needs({kInit}), RIDGEX_SUCCESS,
     [](session&) {
         ridgex_device_info infos[2] = {};
         infos[0].size = sizeof(infos[0]);
         uint32_t count = 2;
         return ridgex_query_devices(&count, infos);
     }},
    {"open", Needs({kInit}), RIDGEX_SUCCESS,
     [](session& s) { return ridgex_open("$01$sim-amber-0", &s.dev[0]); }, kOpen},
    {"open_ext", Needs({kInit}), RIDGEX_SUCCESS,
     [](session& s) { return ridgex_open_ext(nullptr, RIDGEX_PRIORITY_SHARED, &s.dev[1]); },
     kOpenExt},
    {"capabilities", Needs({kOpen}), RIDGEX_SUCCESS,
     [](session& s) {
         auto* caps = reinterpret_cast<ridgex_device_caps*>(s.buffer);
         caps->size = 256;
         return ridgex_get_device_capabilities(s.dev[0], caps);
     }},
    {"status", Needs({kOpen}), RIDGEX_SUCCESS,
     [](session& s) {
         ridgex_device_status status = {};
         status.size = sizeof(status);
         return ridgex_get_device_status(s.dev[0], &status);
     }},
    {"liveness on", Needs({kOpen}), RIDGEX_SUCCESS,
     [](session& s) {
         uint8_t on = 1;
         return ridgex_set_parameter(s.dev[0], RIDGEX_PARMID_PAD_ENABLE, 1, &on);
     },
     kLiveness},
    {"capture", Needs({kOpen}), RIDGEX_SUCCESS,
     [](session& s) { return s.Capture(0, kImageRoom); }},
    {"capture too small", Needs({kOpenExt}), RIDGEX_E_MORE_DATA,
     [](session& s) { return s.Capture(1, 0); }},
    {"async", Needs({kOpen}), RIDGEX_SUCCESS,
     [](session& s) { return ridgex_capture_async(s.dev[0], &s.parm, &s, Delivered); }, kAsync},
    {"cancel", Needs({kAsync}), RIDGEX_SUCCESS,
     [](session& s) {
         for (int ms = 0; ms < 500 && s.callbacks == 0; ++ms) {
             std::this_thread::sleep_for(std::chrono::milliseconds(1));
         }
         return ridgex_cancel(s.dev[0]);
     }},
    {"stream", Needs({kOpenExt}), RIDGEX_SUCCESS,
     [](session& s) { return ridgex_start_stream(s.dev[1]); }, kStream},
    {"stream image", Needs({kStream}), RIDGEX_SUCCESS,
     [](session& s) {
         s.result = {};
         s.result.size = sizeof(s.result);
         s.result.info.size = sizeof(s.result.info);
         s.size = kImageRoom;
         return ridgex_get_stream_image(s.dev[1], &s.parm, &s.result, &s.size, s.buffer);
     }},
    {"stream stop", Needs({kStream}), RIDGEX_SUCCESS,
     [](session& s) { return ridgex_stop_stream(s.dev[1]); }},
    {"set parameter", Needs({kOpenExt}), RIDGEX_SUCCESS,
     [](session& s) {
         uint8_t far = 3;
         return ridgex_set_parameter(s.dev[1], RIDGEX_PARMID_LOWER_107, 1, &far);
     }},
    {"get parameter", Needs({kOpen}), RIDGEX_SUCCESS,
     [](session& s) {
         uint8_t on = 0;
         return ridgex_get_parameter(s.dev[0], RIDGEX_PARMID_PAD_ENABLE, 1, &on);
     }},
    {"close", Needs({kOpen}), RIDGEX_SUCCESS, [](session& s) { return ridgex_close(s.dev[0]); }},
    {"close ext", Needs({kOpenExt}), RIDGEX_SUCCESS,
     [](session& s) { return ridgex_close(s.dev[1]); }},
    {"exit", Needs({kInit}), RIDGEX_SUCCESS, [](session&) { return ridgex_exit(); }},
};

class OutOfMemory : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        const std::string slots = folder_ / "down.conf";
        ridgex_test::WriteFile(slots, "result.init = 0x05BA000B\n");
        // Small images keep each session short.
        ridgex_test::WriteFile(
            folder_ / "amber.conf",
            "[reader]\nwidth = 32\nheight = 32\n[reader]\nwidth = 32\nheight = 32\n");
        setenv("RIDGEX_SIM_CONFIG", slots.c_str(), 1);
        setenv("RIDGEX_SIM_CONFIG_AMBER", (folder_ / "amber.conf").c_str(), 1);
        registry_.Write(GetParam()
                            ? ridgex_test::kTracingKey + "\"DoTrace\"=dword:1\n\"FileName\"=\"" +
                                  folder_ / "sweep.trc3" + "\"\n"
                            : "");
        // The test program is not the library: the models lie in its folder.
        SpoofDetector::module_path.store(RIDGEX_LIB_DIR "/libridgex.so");
    }

    // Runs the session with the `fail_at`th allocation failing; gives how
    // many allocations it made.
    uint64_t Run(uint64_t fail_at) {
        SlvTraceNS::RestoreLoadState();
        auto* s = new session;
        uint32_t done = 0;
        failing_allocator::Arm(fail_at);
        for (const step& step : kSession) {
            if ((step.needs & ~done) != 0) {
                continue;
            }
            const ridgex_result status = step.call(*s);
            if (status == step.expected) {
                done |= step.id < kSteps ? 1u << step.id : 0;
                continue;
            }
            EXPECT_EQ(status, RIDGEX_E_NO_MEMORY) << step.name << " with allocation " << fail_at;
        }
        const uint64_t made = failing_allocator::Disarm();
        delete s;
        return made;
    }

    TempFolder folder_;
    ridgex_test::RegistryFile registry_{folder_};
};

TEST_P(OutOfMemory, EveryAllocationMayFail) {
    uint64_t made = Run(0);
    ASSERT_GT(made, 10u);
    for (uint64_t fail_at = 1; fail_at <= made && !HasFailure(); ++fail_at) {
        made = std::max(made, Run(fail_at));
        // What failed is undone: the library is stopped and starts cleanly.
        uint32_t count = 0;
        ASSERT_EQ(ridgex_query_devices(&count, nullptr), RIDGEX_E_FAILURE) << fail_at;
        Run(0);
        ASSERT_EQ(ridgex_exit(), RIDGEX_E_FAILURE) << fail_at;
    }
    std::printf("%llu allocations\n", static_cast<unsigned long long>(made));
}

INSTANTIATE_TEST_SUITE_P(Tracing, OutOfMemory, ::testing::Bool());

}  // namespace
