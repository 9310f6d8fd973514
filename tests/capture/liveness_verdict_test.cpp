// The liveness verdict as both capture paths hand it on: a refused image
// erased, a passed one untouched, a failed check reported with the image
// left as it was, and the list of readers that the switch keeps.
#include <gmock/gmock.h>

#include "capture_support.h"
#include "liveness/spoof_detector.h"
#include "nex_sim.h"
#include "platform/dynamic_library.h"
#include "platform/syscalls.h"
#include "support/syscall_override.h"

namespace capture_test {
namespace {

class Liveness : public capture_fixture {
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
    void StartReaders() {
        ASSERT_NE(Start(Reader("live") + Reader("fake", "spoof = yes"), "live"), nullptr);
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

    void* scorer_ = platform::load_library("nex_sdk.dll");
};

// Each case through a blocking capture and through a series of records,
// which a failed check ends.
TEST_F(Liveness, RefusedImageIsErasedPassedOrFailedChecksLeaveIt) {
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
    } cases[] = {{fake, nullptr, RIDGEX_SUCCESS},
                 {live, nullptr, RIDGEX_SUCCESS},
                 {live, "load_image_bytes", RIDGEX_E_SCORING},
                 {live, "get_score", RIDGEX_E_SCORING}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.failing != nullptr ? c.failing : c.dev == fake ? "fake" : "live");
        const auto fail = Scorer<nex_sim_fail_fn>("nex_sim_fail");
        ASSERT_EQ(fail(c.failing ? c.failing : "get_score", c.failing ? 9 : 0), 0);
        const capture_t seen = Capture(c.dev);
        EXPECT_EQ(seen.status, c.status);
        EXPECT_EQ(seen.result.success, c.dev == fake ? 0u : 1u);
        if (c.dev == fake) {
            EXPECT_EQ(seen.result.quality, RIDGEX_QUALITY_REJECTED);
            EXPECT_EQ(seen.result.score, 0u);
            EXPECT_THAT(seen.image, ::testing::Each(0xFF)) << "the header goes too";
        } else {
            EXPECT_EQ(seen.result.quality, RIDGEX_QUALITY_GOOD);
            EXPECT_EQ(seen.image, unchecked.image);
        }
        EXPECT_EQ(Status(c.dev), RIDGEX_STATUS_READY) << "a check leaves no lock behind";

        const size_t calls = c.dev == fake ? 2 : 1;
        async_recorder recorder;
        recorder.react = [&](size_t call, ridgex_capture_callback_data*) {
            if (call == calls && c.failing == nullptr) {
                ridgex_cancel(c.dev);
            }
        };
        ASSERT_EQ(recorder.Start(c.dev, Param(RIDGEX_IMG_FMT_ISO19794)), RIDGEX_SUCCESS);
        ASSERT_TRUE(recorder.WaitFor(calls) && EventuallyReady(c.dev));
        ASSERT_EQ(recorder.Count(), calls);
        for (size_t i = 0; i < calls; ++i) {
            const delivery delivered = recorder.At(i);
            if (c.dev == fake) {
                ExpectNoImage(delivered, RIDGEX_QUALITY_REJECTED);
                continue;
            }
            EXPECT_EQ(delivered.error, c.status);
            EXPECT_EQ(delivered.capture_result.quality, RIDGEX_QUALITY_GOOD);
            EXPECT_EQ(delivered.size, 72u + kIsoHeader + kImageBytes);
            EXPECT_EQ(delivered.image, unchecked.image);
        }
        fail(c.failing ? c.failing : "get_score", 0);
    }
    EXPECT_EQ(ScorerCalls("get_score"), 7);
}

// Two readers scored at once keep their own verdicts, and closing one while
// the other is scored takes it off the list without a race (the
// ThreadSanitizer build checks that) and leaves the scorer to the other.
TEST_F(Liveness, ReadersScoredAtOnceKeepTheirVerdictsWhileOneCloses) {
    StartReaders();
    const ridgex_handle live = Open("live");
    const ridgex_handle fake = Open("fake");
    ASSERT_EQ(Switch(live, 1), RIDGEX_SUCCESS);
    ASSERT_EQ(Switch(fake, 1), RIDGEX_SUCCESS);
    std::atomic<bool> stop{false};
    std::atomic<uint32_t> wrong{0};
    std::thread scoring([&] {
        while (!stop) {
            wrong += Capture(live).result.quality != RIDGEX_QUALITY_GOOD;
        }
    });
    for (int i = 0; i < 20; ++i) {
        wrong += Capture(fake).result.quality != RIDGEX_QUALITY_REJECTED;
    }
    EXPECT_EQ(ridgex_close(fake), RIDGEX_SUCCESS);
    stop = true;
    scoring.join();
    EXPECT_EQ(wrong.load(), 0u) << "a verdict went to the other reader";
    EXPECT_TRUE(Listed(live) && SpoofDetector::Instance().isInitialized()) << "live still scored";
}

// Also closing the last listed reader stops the scorer, and the threshold
// and the known readers outlive the library's exit.
TEST_F(Liveness, ListsEachReaderOnceAndAListThatCannotGrowStopsTheScorer) {
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
    ASSERT_EQ(Switch(live, 1), RIDGEX_SUCCESS);
    ASSERT_EQ(ridgex_close(live), RIDGEX_SUCCESS);
    EXPECT_FALSE(SpoofDetector::Instance().isInitialized()) << "the last listed reader closed";
    EXPECT_EQ(ScorerCalls("destroy"), ScorerCalls("initialize"));

    uint8_t rate = 10;
    ASSERT_EQ(ridgex_set_parameter(fake, 0, 1, &rate), RIDGEX_SUCCESS);
    ASSERT_EQ(ridgex_exit(), RIDGEX_SUCCESS);
    ASSERT_EQ(ridgex_init(), RIDGEX_SUCCESS);
    const ridgex_handle again = Open("fake");  // no new enumeration
    ASSERT_EQ(ridgex_get_parameter(again, 0, 1, &rate), RIDGEX_SUCCESS);
    EXPECT_EQ(rate, 9);
    EXPECT_EQ(Switch(again, 1), RIDGEX_SUCCESS);
    rate = 3;
    ridgex_set_parameter(again, 0, 1, &rate);
}

}  // namespace
}  // namespace capture_test
