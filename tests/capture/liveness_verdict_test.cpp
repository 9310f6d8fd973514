// The liveness verdict as both capture paths hand it on: a refused image
// erased, a passed one untouched, a failed check reported with the image
// left as it was, a backend that hands over no pad image, and the list of
// readers that the switch keeps.
#include <algorithm>

#include "capture_support.h"
#include "liveness/spoof_detector.h"
#include "nex_sim.h"
#include "platform/dynamic_library.h"
#include "platform/syscalls.h"
#include "support/syscall_override.h"

namespace capture_test {
namespace {

class liveness_fixture : public capture_fixture {
  protected:
    void SetUp() override {
        capture_fixture::SetUp();
        ASSERT_NE(scorer_, nullptr) << "libnex_sdk.so is not on the search path";
        Scorer<nex_sim_reset_fn>("nex_sim_reset")();
    }
    void TearDown() override {
        capture_fixture::TearDown();
        platform::free_library(scorer_);
    }

    // Starts the library with a live and a spoof reader and lists them, so
    // that the detector knows their models.
    void StartReaders(const std::string& global = "") {
        ASSERT_NE(Start(global + Reader("live") + Reader("fake", "spoof = yes"), "live"), nullptr);
        uint32_t count = 0;
        ASSERT_EQ(ridgex_query_devices(&count, nullptr), RIDGEX_E_MORE_DATA);
        std::vector<ridgex_device_info> infos(count);
        infos[0].size = sizeof(ridgex_device_info);
        ASSERT_EQ(ridgex_query_devices(&count, infos.data()), RIDGEX_SUCCESS);
    }

    template <typename F>
    F Scorer(const char* name) {
        return reinterpret_cast<F>(platform::find_symbol(scorer_, name));
    }
    int ScorerCalls(const char* operation) {
        return Scorer<nex_sim_calls_fn>("nex_sim_calls")(operation);
    }

    static ridgex_result Switch(ridgex_handle dev, uint8_t on) {
        return ridgex_set_parameter(dev, RIDGEX_PARMID_PAD_ENABLE, 1, &on);
    }
    static bool Listed(ridgex_handle dev) {
        uint8_t listed = 0xEE;
        EXPECT_EQ(ridgex_get_parameter(dev, RIDGEX_PARMID_PAD_ENABLE, 1, &listed), RIDGEX_SUCCESS);
        return listed == 1;
    }

    struct capture_t {
        ridgex_result status;
        ridgex_capture_result result;
        std::vector<uint8_t> image;
    };

    static capture_t Capture(ridgex_handle dev) {
        const uint32_t bytes = kIsoHeader + kImageBytes;
        capture_t capture{0, Result(), std::vector<uint8_t>(bytes)};
        ridgex_capture_param parm = Param(RIDGEX_IMG_FMT_ISO19794);
        uint32_t size = bytes;
        capture.status =
            ridgex_capture(dev, &parm, 5000, &capture.result, &size, capture.image.data());
        return capture;
    }

    // Runs a series of records on `dev` until `recorder` has `count` calls and
    // the reader is free again.
    static void RunSeries(ridgex_handle dev, async_recorder& recorder, size_t count) {
        ASSERT_EQ(recorder.Start(dev, Param(RIDGEX_IMG_FMT_ISO19794)), RIDGEX_SUCCESS);
        ASSERT_TRUE(recorder.WaitFor(count) && EventuallyReady(dev));
    }

    void* scorer_ = platform::load_library("nex_sdk.dll");
};

using LivenessBlocking = liveness_fixture;
using LivenessAsync = liveness_fixture;
using LivenessSwitch = liveness_fixture;

TEST_F(LivenessBlocking, RefusedImageIsErasedPassedOrFailedChecksLeaveIt) {
    StartReaders();
    const ridgex_handle live = Open("live");
    const ridgex_handle fake = Open("fake");
    const capture_t unchecked = Capture(live);
    ASSERT_EQ(unchecked.result.success, 1u);
    EXPECT_EQ(SimCount("capture_pad_image"), 0u) << "an unlisted reader is not scored";
    ASSERT_EQ(Switch(live, 1), RIDGEX_SUCCESS);
    ASSERT_EQ(Switch(fake, 1), RIDGEX_SUCCESS);
    const struct {
        ridgex_handle dev;
        const char* failing;  // the scorer call that fails, if any
        ridgex_result status;
        uint32_t success;
        uint32_t quality;
    } cases[] = {{fake, nullptr, RIDGEX_SUCCESS, 0, RIDGEX_QUALITY_REJECTED},
                 {live, nullptr, RIDGEX_SUCCESS, 1, RIDGEX_QUALITY_GOOD},
                 {live, "load_image_bytes", RIDGEX_E_SCORING, 1, RIDGEX_QUALITY_GOOD}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.quality);
        if (c.failing != nullptr) {
            ASSERT_EQ(Scorer<nex_sim_fail_fn>("nex_sim_fail")(c.failing, 9), 0);
        }
        const capture_t seen = Capture(c.dev);
        EXPECT_EQ(seen.status, c.status);
        EXPECT_EQ(seen.result.success, c.success);
        EXPECT_EQ(seen.result.quality, c.quality);
        if (c.success == 0) {
            EXPECT_EQ(seen.result.score, 0u);
            EXPECT_TRUE(std::all_of(seen.image.begin(), seen.image.end(), [](uint8_t byte) {
                return byte == 0xFF;
            })) << "the header goes too";
        } else {
            EXPECT_EQ(seen.image, unchecked.image);
        }
        EXPECT_EQ(Status(c.dev), RIDGEX_STATUS_READY) << "a check leaves no lock behind";
    }
    EXPECT_EQ(ScorerCalls("get_score"), 2);
}

TEST_F(LivenessBlocking, NoPadImageToHandOverLeavesTheCaptureUnscored) {
    StartReaders("result.capture_pad_image = 0\n");
    const ridgex_handle fake = Open("fake");
    ASSERT_EQ(Switch(fake, 1), RIDGEX_SUCCESS);
    const capture_t unscored = Capture(fake);
    EXPECT_EQ(unscored.status, RIDGEX_SUCCESS);
    EXPECT_EQ(unscored.result.success, 1u);
    EXPECT_EQ(unscored.result.quality, RIDGEX_QUALITY_GOOD);
    EXPECT_EQ(SimCount("capture_pad_image"), 1u) << "only the size call";
    EXPECT_EQ(ScorerCalls("load_image_bytes"), 0);
}

TEST_F(LivenessAsync, RefusedImagesAreReportedPassedOnesUntouchedAndAFailedCheckEndsIt) {
    StartReaders();
    const ridgex_handle live = Open("live");
    const ridgex_handle fake = Open("fake");
    const capture_t reference = Capture(live);
    ASSERT_EQ(Switch(live, 1), RIDGEX_SUCCESS);
    ASSERT_EQ(Switch(fake, 1), RIDGEX_SUCCESS);
    const struct {
        ridgex_handle dev;
        const char* failing;  // the scorer call that fails, if any
        size_t calls;
        ridgex_result error;
    } cases[] = {{fake, nullptr, 2, RIDGEX_SUCCESS},
                 {live, nullptr, 1, RIDGEX_SUCCESS},
                 {live, "get_score", 1, RIDGEX_E_SCORING}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.calls);
        if (c.failing != nullptr) {
            ASSERT_EQ(Scorer<nex_sim_fail_fn>("nex_sim_fail")(c.failing, 4), 0);
        }
        async_recorder recorder;
        recorder.react = [&](size_t call, ridgex_capture_callback_data*) {
            if (call == c.calls && c.failing == nullptr) {
                ridgex_cancel(c.dev);
            }
        };
        RunSeries(c.dev, recorder, c.calls);
        ASSERT_EQ(recorder.Count(), c.calls);
        for (size_t i = 0; i < c.calls; ++i) {
            const delivery seen = recorder.At(i);
            if (c.dev == fake) {
                ExpectNoImage(seen, RIDGEX_QUALITY_REJECTED);
                continue;
            }
            EXPECT_EQ(seen.error, c.error);
            EXPECT_EQ(seen.capture_result.success, 1u);
            EXPECT_EQ(seen.capture_result.quality, RIDGEX_QUALITY_GOOD);
            EXPECT_EQ(seen.size, 72u + kIsoHeader + kImageBytes);
            EXPECT_EQ(seen.image, reference.image);
        }
    }
    EXPECT_EQ(ScorerCalls("get_score"), 4);
}

TEST_F(LivenessSwitch, ListsEachReaderOnceAndAListThatCannotGrowStopsTheScorer) {
    StartReaders();
    const ridgex_handle live = Open("live");
    const ridgex_handle fake = Open("fake");
    {
        syscall_override no_growth(
            &platform::syscall_table::realloc, +[](void*, size_t) -> void* { return nullptr; });
        EXPECT_EQ(Switch(live, 1), RIDGEX_E_NO_MEMORY);
    }
    EXPECT_FALSE(Listed(live));
    EXPECT_FALSE(SpoofDetector::Instance().isInitialized());
    ASSERT_EQ(Switch(live, 1), RIDGEX_SUCCESS) << "the client can try again";
    const int models = ScorerCalls("initialize");
    ASSERT_EQ(Switch(live, 1), RIDGEX_SUCCESS);
    ASSERT_EQ(Switch(fake, 1), RIDGEX_SUCCESS);
    EXPECT_EQ(ScorerCalls("initialize"), models) << "later readers share the first model";
    ASSERT_EQ(Switch(live, 0), RIDGEX_SUCCESS);
    EXPECT_FALSE(Listed(live));
    EXPECT_TRUE(Listed(fake));
    EXPECT_TRUE(SpoofDetector::Instance().isInitialized());
    ASSERT_EQ(Switch(fake, 0), RIDGEX_SUCCESS);
    EXPECT_FALSE(SpoofDetector::Instance().isInitialized()) << "the list ran empty";
}

}  // namespace
}  // namespace capture_test
