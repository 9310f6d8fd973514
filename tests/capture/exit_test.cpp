// Stopping the library while capture threads are on their way out: the
// threads' last steps touch their reader's record, which the stop must not
// free under them.
#include "capture_support.h"

namespace capture_test {
namespace {

void Ignore(void*, uint32_t, uint32_t, ridgex_capture_callback_data*) {}

// Rounds that close a series whose finger never comes right before the stop,
// and a last one that leaves the stop to end the series itself.
TEST(ExitWithCaptureThreads, StopRightAfterClosingASeriesOrWithOneStillRunning) {
    const int threads_at_start = BaselineThreadCount();
    for (int round = 0; round <= 20; ++round) {
        sim_backends sims;
        sims.slot(kSlot, Reader("r0", "finger = manual"));
        ridgex_handle dev = nullptr;
        ridgex_capture_param parm = Param();
        ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
        ASSERT_EQ(ridgex_open("$01$r0", &dev), RIDGEX_SUCCESS);
        ASSERT_EQ(ridgex_capture_async(dev, &parm, nullptr, Ignore), RIDGEX_SUCCESS);
        ASSERT_TRUE(WaitCapturing(0));
        if (round < 20) {
            EXPECT_EQ(ridgex_close(dev), RIDGEX_SUCCESS);
        }
        EXPECT_EQ(ridgex_exit(), RIDGEX_SUCCESS);
        EXPECT_EQ(ridgex_close(dev), RIDGEX_E_FAILURE);
    }
    // The stop cancelled the series it found, whichever record it was in.
    EXPECT_TRUE(WaitForThreadCount(threads_at_start));
}

}  // namespace
}  // namespace capture_test
