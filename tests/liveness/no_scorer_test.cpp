// The liveness check on a machine without the scoring library: the switch-on
// fails as a scorer that will not start, and the release calls load nothing.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>

#include "aggregator/lib_aggregator.h"
#include "fake_backend.h"
#include "liveness/spoof_detector.h"
#include "support/syscall_override.h"

namespace {

int loads = 0;

void* counting_dlopen(const char* file, int flags) {
    ++loads;
    return ::dlopen(file, flags);
}

class no_scorer_test : public ::testing::Test {
  protected:
    void SetUp() override {
        ridgex_device_info info{};
        info.size = sizeof(info);
        std::strcpy(info.name, "$01$optical");
        info.vid = 0x05BA;
        info.pid = 0x000E;
        detector().updateDevicesInfo(info);
        detector().setCurrentName(info.name);
        context.pBackend = &backend;
        context.handle = reinterpret_cast<ridgex_handle>(0x99);
        loads = 0;
    }
    void TearDown() override { CLibAggregator::LivenessList().Free(); }

    static SpoofDetector& detector() { return SpoofDetector::Instance(); }

    fake_backend backend;
    AGGREGATOR_DEVICE_CONTEXT context{};
    syscall_override<void* (*)(const char*, int)> count_loads{&platform::syscall_table::dlopen,
                                                              &counting_dlopen};
};

TEST_F(no_scorer_test, SwitchOnTriesAgainEachTimeAndReleaseLoadsNothing) {
    EXPECT_EQ(detector().init(context), RIDGEX_E_SCORER_INIT);
    EXPECT_FALSE(detector().isInitialized());
    const int first = loads;
    EXPECT_GE(first, 1);
    EXPECT_EQ(detector().init(context), RIDGEX_E_SCORER_INIT);
    EXPECT_GT(loads, first);
    loads = 0;
    EXPECT_EQ(detector().destroy(), RIDGEX_SUCCESS);
    EXPECT_EQ(loads, 0);
    EXPECT_FALSE(detector().isInitialized());
}

TEST_F(no_scorer_test, CaptureOfAListedReaderFailsItsScoring) {
    vector_t<void*, 10>& list = CLibAggregator::LivenessList();
    ASSERT_TRUE(list.Insert(0));
    const auto dev = reinterpret_cast<ridgex_handle>(1);
    list.items[0] = dev;
    backend.pad.assign(32 * 32, 100);
    ridgex_capture_result result{};
    result.size = sizeof(result);
    result.success = 1;
    result.info = {sizeof(ridgex_image_info), 32, 32, 500, 8};
    EXPECT_EQ(detector().detect(dev, context, &result), RIDGEX_E_SCORING);
    EXPECT_EQ(result.success, 1u);
    EXPECT_EQ(loads, 0);
}

}  // namespace
