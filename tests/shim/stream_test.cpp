// Streams and resets on readers of the built-in backend, through the
// exports: which acquisition a reader has in each state, what reaches the
// reader library, and the stream image that never comes.
#include "shim_fixture.h"

namespace shim_test {
namespace {

using shim_stream = shim_fixture;

ridgex_result StreamImage(ridgex_handle dev, uint32_t image_proc = RIDGEX_IMG_PROC_DEFAULT,
                          uint32_t* quality = nullptr) {
    ridgex_capture_param parm = Param(RIDGEX_IMG_FMT_RAW, image_proc);
    ridgex_capture_result result = Result();
    std::vector<uint8_t> image(kImageBytes);
    uint32_t size = kImageBytes;
    const ridgex_result status = ridgex_get_stream_image(dev, &parm, &result, &size, image.data());
    EXPECT_EQ(result.success, status == RIDGEX_SUCCESS ? 1u : 0u);
    if (quality != nullptr) {
        *quality = result.quality;
    }
    return status;
}

// Stream mode on and off, the trigger of an image, and processing mode 1.
const std::string kStreamOn = "set 80000101:1:1";
const std::string kStreamOff = "set 80000101:1:0";
const std::string kTrigger = "set 80000102:1:1";
const std::string kProcessing = "set 80000103:4:1";

// A shared reader streams on an exclusive acquisition, triggers each image,
// takes no processing, and gets its shared acquisition back at the stop.
TEST_F(shim_stream, AStreamRunsExclusivelyAndGivesBackASharedAcquisition) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    const ridgex_handle dev = Open(0, RIDGEX_PRIORITY_SHARED);
    EXPECT_EQ(StreamImage(dev), RIDGEX_E_DEVICE_BUSY) << "no stream yet";
    SIM(tavlo_sim_clear_log)();
    ASSERT_EQ(ridgex_start_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(SIM(tavlo_sim_acquisition_priority)(0), RIDGEX_PRIORITY_EXCLUSIVE);
    EXPECT_EQ(ridgex_start_stream(dev), RIDGEX_E_DEVICE_BUSY);
    EXPECT_EQ(StreamImage(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(StreamImage(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(StreamImage(dev, RIDGEX_IMG_PROC_MODE1), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(ridgex_stop_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(Sent(), (std::vector{kStreamOn, kTrigger, kTrigger, kStreamOff}));
    EXPECT_EQ(SIM(tavlo_sim_acquisition_priority)(0), RIDGEX_PRIORITY_SHARED);
    EXPECT_EQ(StreamImage(dev), RIDGEX_E_DEVICE_BUSY);
    SIM(tavlo_sim_clear_log)();
    EXPECT_EQ(ridgex_stop_stream(dev), RIDGEX_SUCCESS);
    EXPECT_TRUE(Sent().empty()) << "no stream, nothing to switch off";
    ridgex_close(dev);
}

// A reset leaves a shared acquisition, even on a reader opened exclusively,
// and ends a stream; a stop gives the reader its own back. Processing of an
// exclusive stream is sent once, and switched in.
TEST_F(shim_stream, ResetsAndRefusals) {
    // The second reader's model cannot stream.
    ASSERT_EQ(Start(Reader() + Reader("vid = 0x05BA\npid = 0x0008")), RIDGEX_SUCCESS);
    const ridgex_handle dev = Open(0);
    EXPECT_EQ(ridgex_start_stream(Open(1)), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(ridgex_reset(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(SIM(tavlo_sim_acquisition_priority)(0), RIDGEX_PRIORITY_SHARED);
    ASSERT_EQ(ridgex_start_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_reset(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(StreamImage(dev), RIDGEX_E_DEVICE_BUSY);
    EXPECT_EQ(ridgex_stop_stream(dev), RIDGEX_SUCCESS);
    ASSERT_EQ(ridgex_start_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_stop_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(SIM(tavlo_sim_acquisition_priority)(0), RIDGEX_PRIORITY_EXCLUSIVE);
    EXPECT_EQ(ridgex_calibrate(dev), RIDGEX_SUCCESS);
    ASSERT_EQ(ridgex_start_stream(dev), RIDGEX_SUCCESS);
    SIM(tavlo_sim_clear_log)();
    EXPECT_EQ(StreamImage(dev, RIDGEX_IMG_PROC_MODE1), RIDGEX_SUCCESS);
    EXPECT_EQ(StreamImage(dev, RIDGEX_IMG_PROC_MODE1), RIDGEX_SUCCESS);
    EXPECT_EQ(Sent(), (std::vector{kProcessing, kStreamOn, kTrigger, kTrigger}));
    EXPECT_EQ(ridgex_close(dev), RIDGEX_SUCCESS);

    // A reader that somebody else holds exclusively keeps no acquisition.
    const ridgex_handle shared = Open(0, RIDGEX_PRIORITY_SHARED);
    SIM(tavlo_sim_fail)("TavloCreateAcquisitionWithCallback", static_cast<int32_t>(0x80070005u), 1);
    EXPECT_EQ(ridgex_start_stream(shared), RIDGEX_E_DEVICE_BUSY);
    EXPECT_EQ(SIM(tavlo_sim_acquisition_priority)(0), 0u);
    EXPECT_EQ(ridgex_close(shared), RIDGEX_SUCCESS);
    EXPECT_EQ(SIM(tavlo_sim_live_acquisitions)(), 1u) << "the second reader's only";
}

// Takes five seconds: the reader ignores the trigger.
TEST_F(shim_stream, AStreamImageThatNeverComesIsADeviceFailure) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    const ridgex_handle dev = Open(0);
    ASSERT_EQ(ridgex_start_stream(dev), RIDGEX_SUCCESS);
    SIM(tavlo_sim_fail)("TavloSetDeviceParameter", static_cast<int32_t>(0x80004005u), 1);
    uint32_t quality = 0;
    EXPECT_EQ(StreamImage(dev, RIDGEX_IMG_PROC_DEFAULT, &quality), RIDGEX_E_DEVICE_FAILURE);
    EXPECT_EQ(quality, RIDGEX_QUALITY_TIMED_OUT);
    ridgex_close(dev);
}

}  // namespace
}  // namespace shim_test
