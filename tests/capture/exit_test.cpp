// Stopping the library while capture threads are on their way out: the
// threads' last steps touch their reader's record, which the stop must not
// free under them.
#include <gtest/gtest.h>

#include "capture_support.h"

namespace capture_test {
namespace {

void Ignore(void*, uint32_t, uint32_t, ridgex_capture_callback_data*) {}

// Starts the library with one reader whose series waits for a finger that
// never comes; the reader's handle, or null.
ridgex_handle StartWaitingSeries(sim_backends& sims) {
    sims.slot(kSlot, Reader("r0", "finger = manual\n"));
    ridgex_handle dev = nullptr;
    ridgex_capture_param parm = Param();
    EXPECT_EQ(sims.start(), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_open("$01$r0", &dev), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_capture_async(dev, &parm, nullptr, Ignore), RIDGEX_SUCCESS);
    return WaitCapturing(0) ? dev : nullptr;
}

TEST(ExitWithCaptureThreads, StopRightAfterClosingASeries) {
    for (int round = 0; round < 20; ++round) {
        sim_backends sims;
        const ridgex_handle dev = StartWaitingSeries(sims);
        ASSERT_NE(dev, nullptr);
        EXPECT_EQ(ridgex_close(dev), RIDGEX_SUCCESS);
        EXPECT_EQ(ridgex_exit(), RIDGEX_SUCCESS);
    }
}

TEST(ExitWithCaptureThreads, StopWithASeriesStillRunning) {
    sim_backends sims;
    const ridgex_handle dev = StartWaitingSeries(sims);
    ASSERT_NE(dev, nullptr);
    // No cancel, no close: the stop ends the series itself.
    EXPECT_EQ(ridgex_exit(), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_close(dev), RIDGEX_E_FAILURE);
}

}  // namespace
}  // namespace capture_test
