// The blocking capture through the exports: the checks and their order, the
// busy lock, the outcomes, and the pad image request beside it.
#include <algorithm>

#include "capture_support.h"

namespace capture_test {
namespace {

using Capture = capture_fixture;

TEST(BeforeInit, CaptureFailsAndAsyncFindsNoDevice) {
    EXPECT_EQ(Probe(Handle(1)), RIDGEX_E_FAILURE);
    async_recorder recorder;
    EXPECT_EQ(recorder.Start(Handle(1)), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(ridgex_cancel(Handle(1)), RIDGEX_E_FAILURE);
}

TEST_F(Capture, ChecksComeInTheirOrderBeforeTheHandle) {
    ASSERT_NE(Start(Reader("r0")), nullptr);
    const ridgex_handle unknown = Handle(77);
    ridgex_capture_param parm = Param(), short_parm = Param();
    short_parm.size = 15;
    ridgex_capture_result result = Result(), short_result = Result();
    short_result.size = 35;
    uint32_t size = 0, room_without_buffer = 1;
    uint8_t byte = 0;
    EXPECT_EQ(ridgex_capture(nullptr, &parm, 0, &result, &size, nullptr), RIDGEX_E_FAILURE)
        << "handle 0 is a failure here, not an unknown device";
    // Each bad argument is found before the unknown handle.
    const struct {
        ridgex_capture_param* parm;
        ridgex_capture_result* result;
        uint32_t* size;
        uint8_t* data;
    } bad[] = {{&short_parm, &result, &size, nullptr},          {nullptr, &result, &size, nullptr},
               {&parm, &short_result, &size, nullptr},          {&parm, nullptr, &size, nullptr},
               {&parm, &result, &room_without_buffer, nullptr}, {&parm, &result, nullptr, &byte}};
    for (const auto& call : bad) {
        EXPECT_EQ(ridgex_capture(unknown, call.parm, 0, call.result, call.size, call.data),
                  RIDGEX_E_INVALID_PARAMETER)
            << &call - bad;
    }
    EXPECT_EQ(Probe(unknown), RIDGEX_E_INVALID_DEVICE);
    // The asynchronous start tests the handle first.
    EXPECT_EQ(ridgex_capture_async(nullptr, nullptr, nullptr, nullptr), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(ridgex_capture_async(Handle(1), &parm, nullptr, nullptr), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(ridgex_capture_async(Handle(1), nullptr, nullptr, async_recorder::Callback),
              RIDGEX_E_INVALID_PARAMETER);
    async_recorder recorder;
    EXPECT_EQ(recorder.Start(unknown), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(SimCount("capture"), 0u);
}

TEST_F(Capture, AnswersTheSizeThenDeliversEachFormat) {
    const ridgex_handle dev = Start(Reader("r0", "score = 77\nresolutions = 500 1000"));
    const uint32_t iso = RIDGEX_IMG_FMT_ISO19794, ansi = RIDGEX_IMG_FMT_ANSI381;
    const uint32_t raw = RIDGEX_IMG_FMT_RAW, proc = RIDGEX_IMG_PROC_DEFAULT;
    std::vector<uint8_t> pixels;
    // The library asks its backend for bare pixels and writes the record
    // around them; a refused format or resolution never reaches the backend.
    const struct {
        uint32_t fmt, proc, res;
        ridgex_result probed;
        uint32_t header, pixels;
    } cases[] = {
        {raw, proc, 500, RIDGEX_E_MORE_DATA, 0, kImageBytes},
        {iso, proc, 500, RIDGEX_E_MORE_DATA, kIsoHeader, kImageBytes},
        {ansi, proc, 500, RIDGEX_E_MORE_DATA, 50, kImageBytes},
        {ansi, proc, 1000, RIDGEX_E_MORE_DATA, 50, 4 * kImageBytes},
        {ansi, RIDGEX_IMG_PROC_RAW, 500, RIDGEX_E_MORE_DATA, 0, kImageBytes},
        {iso, proc, 333, RIDGEX_E_INVALID_PARAMETER, 0, 0},
        {0x1234, proc, 500, RIDGEX_E_INVALID_PARAMETER, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.fmt << "/" << c.proc << "/" << c.res);
        ridgex_capture_param parm = Param(c.fmt, c.proc, c.res);
        uint32_t size = 0;
        const uint32_t calls = SimCount("capture");
        ASSERT_EQ(Probe(dev, parm, nullptr, &size), c.probed);
        if (c.probed != RIDGEX_E_MORE_DATA) {
            EXPECT_EQ(SimCount("capture"), calls);
            continue;
        }
        EXPECT_EQ(size, c.header + c.pixels);
        // Room for the header alone is no room for pixels at all.
        ridgex_capture_result result = Result();
        std::vector<uint8_t> image(size, 0x11);
        uint32_t room = c.header;
        if (room != 0) {
            EXPECT_EQ(ridgex_capture(dev, &parm, 1000, &result, &room, image.data()),
                      RIDGEX_E_MORE_DATA);
            EXPECT_EQ(room, size);
        }
        ASSERT_EQ(ridgex_capture(dev, &parm, 1000, &result, &size, image.data()), RIDGEX_SUCCESS);
        EXPECT_EQ(result.success, 1u);
        EXPECT_EQ(result.quality, RIDGEX_QUALITY_GOOD);
        EXPECT_EQ(result.score, 77u);
        EXPECT_EQ(size, c.header + c.pixels);
        const std::vector<uint8_t> tail(image.begin() + c.header, image.end());
        if (pixels.empty()) {
            pixels = tail;
        }
        if (c.header != 0) {
            EXPECT_EQ(std::string(image.begin(), image.begin() + 4), std::string("FIR\0", 4));
            EXPECT_TRUE(c.fmt != ansi || (uint32_t{image[24]} << 8 | image[25]) == c.res);
        }
        if (c.pixels == kImageBytes) {
            EXPECT_EQ(tail, pixels);
        }
    }
}

TEST_F(Capture, OutcomesWithoutAnImage) {
    ASSERT_NE(Start(Reader("r0", "finger = manual") +
                    Reader("r1", "outcome = reject\nreject_quality = 0x40") +
                    Reader("r2", "outcome = fail\nfail_status = 0x05BA001F")),
              nullptr);
    const struct {
        ridgex_handle dev;
        ridgex_result status;
        uint32_t quality;
    } cases[] = {{Handle(1), RIDGEX_SUCCESS, RIDGEX_QUALITY_TIMED_OUT},
                 {Open("r1"), RIDGEX_SUCCESS, RIDGEX_QUALITY_CODE_9},
                 {Open("r2"), RIDGEX_E_DEVICE_FAILURE, 0}};
    ridgex_capture_param parm = Param();
    for (const auto& c : cases) {
        std::vector<uint8_t> image(kImageBytes, 0x11);
        ridgex_capture_result result = Result();
        uint32_t size = kImageBytes;
        EXPECT_EQ(ridgex_capture(c.dev, &parm, 10, &result, &size, image.data()), c.status);
        EXPECT_EQ(result.success, 0u);
        if (c.status == RIDGEX_SUCCESS) {
            EXPECT_EQ(result.quality, c.quality);
            // The backend left the room it was given as the size: a success
            // without an image tells the client it has no bytes.
            EXPECT_EQ(size, 0u);
        } else {
            EXPECT_EQ(std::count(image.begin(), image.end(), 0x11), kImageBytes);
        }
        EXPECT_EQ(Status(c.dev), RIDGEX_STATUS_READY) << "no outcome leaves the lock held";
    }
}

TEST_F(Capture, BusyFromBeforeTheBackendKnowsAndOtherCallsAreRefusedAtOnce) {
    const ridgex_handle dev = Start(Reader("r0"), "r0", true);
    capture_gate gate(false);
    capture_thread first(dev);
    ASSERT_TRUE(gate.WaitEntered());
    EXPECT_EQ(Status(dev), RIDGEX_STATUS_BUSY);
    EXPECT_EQ(Probe(dev), RIDGEX_E_DEVICE_BUSY);
    async_recorder recorder;
    EXPECT_EQ(recorder.Start(dev), RIDGEX_E_DEVICE_BUSY);
    EXPECT_EQ(ridgex_start_stream(dev), RIDGEX_E_DEVICE_BUSY);
    EXPECT_EQ(SimCount("capture") + SimCount("start_stream"), 0u);
    gate.Release();
    ASSERT_TRUE(first.Join());
    EXPECT_EQ(first.result.success, 1u) << "the first capture went on undisturbed";
    EXPECT_EQ(Status(dev), RIDGEX_STATUS_READY);
    EXPECT_EQ(recorder.Count(), 0u);
}

TEST_F(Capture, PadImageNeedsNoLockIsNoCaptureAndNeedsTheExport) {
    const ridgex_handle dev =
        Start(Reader("r0", "finger = manual") + Reader("r1", "pad_images = no"));
    capture_thread running(dev);
    ASSERT_TRUE(WaitCapturing(0));
    ridgex_capture_param parm = Param(RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_PAD0);
    ridgex_capture_result result = Result();
    result.success = result.quality = result.score = 7;
    uint32_t size = 0;
    EXPECT_EQ(Probe(dev, parm, &result, &size), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(size, kImageBytes);
    EXPECT_EQ(result.success + result.quality + result.score, 0u);
    std::vector<uint8_t> pad(size);
    EXPECT_EQ(ridgex_capture(dev, &parm, 0, &result, &size, pad.data()), RIDGEX_SUCCESS);
    EXPECT_EQ(result.success, 1u);
    EXPECT_EQ(result.info.width, kWidth);
    EXPECT_EQ(SimCount("capture") + SimCount("capture_pad_image"), 3u);
    PlaceFinger(0);
    ASSERT_TRUE(running.Join());
    EXPECT_EQ(running.result.success, 1u);
    // One above the last pad value is an ordinary capture again.
    Probe(dev, Param(RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_PAD2 + 1));
    EXPECT_EQ(SimCount("capture"), 2u);
    ASSERT_EQ(ridgex_start_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_capture(dev, &parm, 0, &result, &size, pad.data()), RIDGEX_SUCCESS)
        << "served during a stream";
    EXPECT_EQ(ridgex_stop_stream(dev), RIDGEX_SUCCESS);
    result.success = 7;
    EXPECT_EQ(Probe(Open("r1"), Param(RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_PAD1), &result),
              RIDGEX_E_NOT_IMPLEMENTED);
    EXPECT_EQ(result.success, 0u);
}

}  // namespace
}  // namespace capture_test
