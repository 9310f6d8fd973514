// The operations forwarded to a reader's backend: the busy status, the busy
// lock around a stream, housekeeping a reader lacks, and the parameters
// that the library answers itself.
#include <cstring>

#include "capture_support.h"

namespace capture_test {
namespace {

using Stream = capture_fixture;
using Housekeeping = capture_fixture;
using Parameters = capture_fixture;

TEST_F(Stream, HoldsTheReaderUntilStoppedAndAFailedStartLeavesItFree) {
    const ridgex_handle dev = Start(Reader("r0") + Reader("r1", "can_stream = 0"));
    ASSERT_EQ(ridgex_start_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_start_stream(dev), RIDGEX_E_DEVICE_BUSY);
    EXPECT_EQ(Probe(dev), RIDGEX_E_DEVICE_BUSY);
    async_recorder recorder;
    EXPECT_EQ(recorder.Start(dev), RIDGEX_E_DEVICE_BUSY);
    EXPECT_EQ(SimCount("start_stream", 0), 1u);
    ASSERT_EQ(ridgex_stop_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(Probe(dev), RIDGEX_E_MORE_DATA);

    const ridgex_handle no_streams = Open("r1");
    EXPECT_EQ(ridgex_start_stream(no_streams), RIDGEX_E_NOT_IMPLEMENTED);
    EXPECT_EQ(Probe(no_streams), RIDGEX_E_MORE_DATA);
}

TEST_F(Housekeeping, FailuresPassUntouchedButNotImplementedIsNoFailure) {
    const ridgex_handle dev = Start(
        "result.get_device_status = RIDGEX_E_DEVICE_FAILURE\n"
        "result.stop_stream = RIDGEX_E_DEVICE_FAILURE\n"
        "result.calibrate = RIDGEX_E_NOT_IMPLEMENTED\nresult.reset = RIDGEX_E_NOT_IMPLEMENTED\n"
        "result.get_device_capabilities = RIDGEX_E_NOT_IMPLEMENTED\n" +
        Reader("r0", "led_mask = 0"));
    EXPECT_EQ(ridgex_calibrate(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_reset(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_led_config(dev, 1, 1), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_led_ctrl(dev, 1, 1), RIDGEX_SUCCESS);
    ridgex_device_caps caps{};
    caps.size = sizeof(caps);
    EXPECT_EQ(ridgex_get_device_capabilities(dev, &caps), RIDGEX_E_NOT_IMPLEMENTED)
        << "capabilities pass the backend's answer through";
    EXPECT_EQ(SimCount("led_config") + SimCount("led_ctrl"), 2u);

    ASSERT_EQ(ridgex_start_stream(dev), RIDGEX_SUCCESS);
    ridgex_device_status status{};
    status.size = sizeof(status);
    EXPECT_EQ(ridgex_get_device_status(dev, &status), RIDGEX_E_DEVICE_FAILURE);
    EXPECT_EQ(status.status, RIDGEX_STATUS_READY) << "no touch-up on a failure";
    EXPECT_EQ(ridgex_stop_stream(dev), RIDGEX_E_DEVICE_FAILURE);
    // The backend still streams, but the library no longer holds the reader:
    // the next start reaches the backend.
    ridgex_start_stream(dev);
    EXPECT_EQ(SimCount("start_stream"), 2u);
}

TEST_F(Housekeeping, OtherStatusesPassAndRunBesideACaptureThatAStopLeavesLocked) {
    const ridgex_handle dev = Start(Reader("r0", "finger = manual\nled_mask = 1"));
    capture_thread capture(dev);
    ASSERT_TRUE(WaitCapturing(0));
    EXPECT_EQ(ridgex_stop_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(SimCount("stop_stream"), 1u);
    EXPECT_EQ(Probe(dev), RIDGEX_E_DEVICE_BUSY);
    EXPECT_EQ(ridgex_led_ctrl(dev, 2, 1), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(ridgex_led_config(dev, 1, 1), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_calibrate(dev), RIDGEX_SUCCESS);
    ridgex_device_caps caps{};
    caps.size = sizeof(caps);
    EXPECT_EQ(ridgex_get_device_capabilities(dev, &caps), RIDGEX_SUCCESS);
    EXPECT_EQ(caps.resolution_cnt, 1u);
    PlaceFinger(0);
    ASSERT_TRUE(capture.Join());
    EXPECT_EQ(capture.result.success, 1u);
    EXPECT_EQ(ridgex_reset(Handle(42)), RIDGEX_E_INVALID_DEVICE);
}

TEST_F(Parameters, AreAnsweredByTheLibraryItself) {
    const ridgex_handle dev = Start(Reader("r0"));
    uint8_t rate[48] = {10};
    for (uint32_t id : {uint32_t{RIDGEX_PARMID_PAD_ENABLE}, uint32_t{RIDGEX_PARMID_SENSOR_INFO}}) {
        EXPECT_EQ(ridgex_set_parameter(dev, id, 0, rate), RIDGEX_E_INVALID_PARAMETER) << id;
        EXPECT_EQ(ridgex_set_parameter(dev, id, 1, nullptr), RIDGEX_E_INVALID_PARAMETER) << id;
        EXPECT_EQ(ridgex_get_parameter(dev, id, 0, rate), RIDGEX_E_INVALID_PARAMETER) << id;
    }
    EXPECT_EQ(ridgex_set_parameter(Handle(9), 771, 1, rate), RIDGEX_E_INVALID_DEVICE);
    // Any identifier but the liveness switch is the false accept rate.
    ASSERT_EQ(ridgex_set_parameter(dev, RIDGEX_PARMID_ROTATE, 1, rate), RIDGEX_SUCCESS);
    std::memset(rate, 0xEE, sizeof(rate));
    ASSERT_EQ(ridgex_get_parameter(dev, RIDGEX_PARMID_SENSOR_INFO, sizeof(rate), rate),
              RIDGEX_SUCCESS);
    EXPECT_EQ(rate[0], 9) << "rate 10 chooses the row of 9.909";
    EXPECT_EQ(rate[1], 0xEE) << "only one byte is written";
    rate[0] = 1;
    ASSERT_EQ(ridgex_set_parameter(dev, 0x1234, 4, rate), RIDGEX_SUCCESS);
    ASSERT_EQ(ridgex_get_parameter(dev, 0, 1, rate), RIDGEX_SUCCESS);
    EXPECT_EQ(rate[0], 0);
    // Liveness needs a reader that enumeration listed, but off always works.
    for (uint8_t on : {0, 1}) {
        EXPECT_EQ(ridgex_set_parameter(dev, RIDGEX_PARMID_PAD_ENABLE, 1, &on),
                  on ? RIDGEX_E_NOT_IMPLEMENTED : RIDGEX_SUCCESS);
        uint8_t listed = 0xEE;
        EXPECT_EQ(ridgex_get_parameter(dev, RIDGEX_PARMID_PAD_ENABLE, 1, &listed), RIDGEX_SUCCESS);
        EXPECT_EQ(listed, 0);
    }
    EXPECT_EQ(SimCount("set_parameter") + SimCount("get_parameter"), 0u)
        << "parameters never reach the backend";
}

}  // namespace
}  // namespace capture_test
