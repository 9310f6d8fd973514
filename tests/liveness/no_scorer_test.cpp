// The liveness check on a machine without the scoring library: the switch-on
// fails as a scorer that will not start, and the release calls load nothing.
#include <dlfcn.h>

#include "liveness_fixture.h"
#include "support/syscall_override.h"

namespace {

int loads = 0;

TEST(NoScorer, SwitchOnTriesAgainEachTimeAndNeitherReleaseNorCaptureLoads) {
    syscall_override<void* (*)(const char*, int)> count_loads{&platform::syscall_table::dlopen,
                                                              +[](const char* file, int flags) {
                                                                  ++loads;
                                                                  return ::dlopen(file, flags);
                                                              }};
    fake_backend backend;
    AGGREGATOR_DEVICE_CONTEXT context{};
    context.pBackend = &backend;
    enumerate("$01$optical", 0x05BA, 0x000E);
    EXPECT_EQ(detector().init(context), RIDGEX_E_SCORER_INIT);
    EXPECT_FALSE(detector().isInitialized());
    const int first = loads;
    EXPECT_GE(first, 1);
    EXPECT_EQ(detector().init(context), RIDGEX_E_SCORER_INIT);
    EXPECT_GT(loads, first);
    loads = 0;
    EXPECT_EQ(detector().destroy(), RIDGEX_SUCCESS);
    EXPECT_FALSE(detector().isInitialized());
    const auto dev = reinterpret_cast<ridgex_handle>(1);
    list(dev);
    ridgex_capture_result result = good_capture(32, 32);
    EXPECT_EQ(detector().detect(dev, context, &result), RIDGEX_E_SCORING);
    EXPECT_EQ(result.success, 1u);
    EXPECT_EQ(loads, 0);
    CLibAggregator::LivenessList().Free();
}

}  // namespace
