// Streams and resets on readers of the built-in backend, through the
// exports: which acquisition a reader has in each state, what reaches the
// reader library, and the stream image that never comes.
#include "capture_support.h"

namespace shim_test {
namespace {

using shim_stream = shim_fixture;

constexpr uint32_t kImageBytes = 256 * 360;

// How often the reader library was sent `parameter` with `value` as its
// first byte since the log was cleared.
int Sent(uint32_t parameter, uint8_t value) {
    int count = 0;
    for (const tavlo_sim_parameter_call& call : ParameterCalls()) {
        count += call.set == 1 && call.parameter == parameter && call.value[0] == value;
    }
    return count;
}

ridgex_result StreamImage(ridgex_handle dev, ridgex_capture_result* result,
                          uint32_t image_proc = RIDGEX_IMG_PROC_DEFAULT) {
    ridgex_capture_param parm = Param(RIDGEX_IMG_FMT_RAW, image_proc);
    std::vector<uint8_t> image(kImageBytes);
    uint32_t size = kImageBytes;
    *result = Result();
    return ridgex_get_stream_image(dev, &parm, result, &size, image.data());
}

constexpr uint32_t kStreamMode = 0x80000101;
constexpr uint32_t kTrigger = 0x80000102;
constexpr uint32_t kProcessing = 0x80000103;

TEST_F(shim_stream, AStreamRunsExclusivelyAndGivesBackASharedAcquisition) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    const ridgex_handle dev = Open(0, RIDGEX_PRIORITY_SHARED);
    ridgex_capture_result result;
    EXPECT_EQ(StreamImage(dev, &result), RIDGEX_E_DEVICE_BUSY) << "no stream yet";
    ClearLog();
    ASSERT_EQ(ridgex_start_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(AcquisitionPriority(0), RIDGEX_PRIORITY_EXCLUSIVE);
    EXPECT_EQ(Sent(kStreamMode, 1), 1);
    EXPECT_EQ(ridgex_start_stream(dev), RIDGEX_E_DEVICE_BUSY);

    // Each image is triggered; a shared reader gets no processing, and
    // refuses any but the default.
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(StreamImage(dev, &result), RIDGEX_SUCCESS);
        EXPECT_EQ(result.success, 1u);
    }
    EXPECT_EQ(StreamImage(dev, &result, RIDGEX_IMG_PROC_MODE1), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(Sent(kTrigger, 1), 2);
    EXPECT_EQ(Sent(kProcessing, RIDGEX_IMG_PROC_MODE1), 0);

    ClearLog();
    EXPECT_EQ(ridgex_stop_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(AcquisitionPriority(0), RIDGEX_PRIORITY_SHARED);
    EXPECT_EQ(Sent(kStreamMode, 0), 1);
    EXPECT_EQ(StreamImage(dev, &result), RIDGEX_E_DEVICE_BUSY);
    ClearLog();
    EXPECT_EQ(ridgex_stop_stream(dev), RIDGEX_SUCCESS);
    EXPECT_TRUE(ParameterCalls().empty()) << "no stream, nothing to switch off";
    ridgex_close(dev);
}

TEST_F(shim_stream, ProcessingOfAnExclusiveStreamIsSentOnceAndSwitchedIn) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    const ridgex_handle dev = Open(0);
    ASSERT_EQ(ridgex_start_stream(dev), RIDGEX_SUCCESS);
    ClearLog();
    ridgex_capture_result result;
    EXPECT_EQ(StreamImage(dev, &result, RIDGEX_IMG_PROC_MODE1), RIDGEX_SUCCESS);
    EXPECT_EQ(StreamImage(dev, &result, RIDGEX_IMG_PROC_MODE1), RIDGEX_SUCCESS);
    EXPECT_EQ(Sent(kProcessing, RIDGEX_IMG_PROC_MODE1), 1);
    EXPECT_EQ(Sent(kStreamMode, 1), 1) << "the new processing takes effect";
    ridgex_stop_stream(dev);
    ridgex_close(dev);
}

TEST_F(shim_stream, Refusals) {
    // The second reader's model cannot stream.
    ASSERT_EQ(Start(Reader() + Reader("vid = 0x05BA\npid = 0x0008")), RIDGEX_SUCCESS);
    const ridgex_handle dev = Open(0, RIDGEX_PRIORITY_SHARED);
    const ridgex_handle still = Open(1);
    EXPECT_EQ(ridgex_start_stream(still), RIDGEX_E_INVALID_PARAMETER);

    // A reader that somebody else holds exclusively keeps no acquisition.
    Control<tavlo_sim_fail_fn>("tavlo_sim_fail")("TavloCreateAcquisitionWithCallback",
                                                 static_cast<int32_t>(0x80070005u), 1);
    EXPECT_EQ(ridgex_start_stream(dev), RIDGEX_E_DEVICE_BUSY);
    EXPECT_EQ(AcquisitionPriority(0), 0u);
    EXPECT_EQ(ridgex_close(dev), RIDGEX_SUCCESS);
    ridgex_close(still);
    EXPECT_EQ(Control<tavlo_sim_live_acquisitions_fn>("tavlo_sim_live_acquisitions")(), 0u);
}

TEST_F(shim_stream, ResetLeavesASharedAcquisitionAndEndsTheStream) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    const ridgex_handle dev = Open(0);
    EXPECT_EQ(ridgex_reset(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(AcquisitionPriority(0), RIDGEX_PRIORITY_SHARED) << "though opened exclusively";
    ASSERT_EQ(ridgex_start_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_reset(dev), RIDGEX_SUCCESS);
    ridgex_capture_result result;
    EXPECT_EQ(StreamImage(dev, &result), RIDGEX_E_DEVICE_BUSY);
    EXPECT_EQ(ridgex_stop_stream(dev), RIDGEX_SUCCESS);
    ASSERT_EQ(ridgex_start_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_stop_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(AcquisitionPriority(0), RIDGEX_PRIORITY_EXCLUSIVE) << "the reader's own again";
    EXPECT_EQ(ridgex_calibrate(dev), RIDGEX_SUCCESS);
    ridgex_close(dev);
}

// Takes five seconds: the reader ignores the trigger.
TEST_F(shim_stream, AStreamImageThatNeverComesIsADeviceFailure) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    const ridgex_handle dev = Open(0);
    ASSERT_EQ(ridgex_start_stream(dev), RIDGEX_SUCCESS);
    Control<tavlo_sim_fail_fn>("tavlo_sim_fail")("TavloSetDeviceParameter",
                                                 static_cast<int32_t>(0x80004005u), 1);
    ridgex_capture_result result;
    EXPECT_EQ(StreamImage(dev, &result), RIDGEX_E_DEVICE_FAILURE);
    EXPECT_EQ(result.success, 0u);
    EXPECT_EQ(result.quality, RIDGEX_QUALITY_TIMED_OUT);
    ridgex_stop_stream(dev);
    ridgex_close(dev);
}

}  // namespace
}  // namespace shim_test
