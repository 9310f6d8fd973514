// The asynchronous capture through the exports: the start and its refusals,
// what each callback holds, the end of a series, and a block made anew.
#include "capture_support.h"
#include "platform/syscalls.h"
#include "support/syscall_override.h"

namespace capture_test {
namespace {

using AsyncCapture = capture_fixture;

TEST_F(AsyncCapture, RefusalsStartNoThreadAndFreeTheReader) {
    const ridgex_handle dev = Start(Reader("r0") + Reader("r1"));
    async_recorder recorder;
    EXPECT_EQ(recorder.Start(dev, Param(RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_DEFAULT, 123)),
              RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(Status(dev), RIDGEX_STATUS_READY);
    {
        syscall_override no_threads(
            &platform::syscall_table::start_thread,
            +[](void* (*)(void*), void*) { return EAGAIN; });
        EXPECT_EQ(recorder.Start(dev), RIDGEX_E_FAILURE);
    }
    EXPECT_EQ(Status(dev), RIDGEX_STATUS_READY);
    {
        // Without a callback block (the only one as large as an image) the
        // thread ends without a callback.
        syscall_override no_blocks(
            &platform::syscall_table::realloc, +[](void* block, size_t size) -> void* {
                return size > kImageBytes ? nullptr : realloc(block, size);
            });
        ASSERT_EQ(recorder.Start(dev), RIDGEX_SUCCESS);
        ASSERT_TRUE(EventuallyReady(dev));
    }
    EXPECT_EQ(recorder.Count(), 0u);
    EXPECT_EQ(recorder.Start(dev), RIDGEX_SUCCESS) << "the reader is free for a new series";
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(ridgex_cancel(dev), RIDGEX_SUCCESS);
}

TEST_F(AsyncCapture, SizeProbeThatSucceedsIsAFailure) {
    const ridgex_handle dev = Start("result.capture = 0\n" + Reader("r0"));
    async_recorder recorder;
    EXPECT_EQ(recorder.Start(dev), RIDGEX_E_FAILURE);
    EXPECT_EQ(Status(dev), RIDGEX_STATUS_READY);
}

TEST_F(AsyncCapture, GoodImagesComeInOneBlockUntilCancelled) {
    const ridgex_handle dev = Start(Reader("r0", "score = 5"));
    async_recorder recorder;
    const ridgex_capture_param parm = Param(RIDGEX_IMG_FMT_ISO19794);
    ASSERT_EQ(recorder.Start(dev, parm), RIDGEX_SUCCESS);
    ASSERT_TRUE(recorder.WaitFor(3));
    EXPECT_EQ(ridgex_cancel(dev), RIDGEX_SUCCESS);
    // The cancel returned on the thread's end: the reader is free at once.
    EXPECT_EQ(Status(dev), RIDGEX_STATUS_READY);
    const size_t count = recorder.Count();
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(recorder.Count(), count) << "no callback after the cancel returned";
    const delivery first = recorder.At(0);
    for (size_t i = 0; i < 3; ++i) {
        const delivery seen = recorder.At(i);
        EXPECT_EQ(seen.error, RIDGEX_SUCCESS);
        EXPECT_EQ(seen.ridgex_capture_callback_data::size, 72u);
        EXPECT_EQ(seen.capture_result.size + seen.capture_result.info.size, 56u);
        EXPECT_EQ(seen.capture_result.success, 1u);
        EXPECT_EQ(seen.capture_result.quality, RIDGEX_QUALITY_GOOD);
        EXPECT_EQ(seen.capture_result.score, 5u);
        EXPECT_EQ(seen.capture_parm.image_fmt, parm.image_fmt);
        EXPECT_EQ(seen.size, 72u + kIsoHeader + kImageBytes);
        EXPECT_EQ(seen.image_size, kIsoHeader + kImageBytes);
        EXPECT_EQ(seen.image_data, seen.block + 72) << "the image follows the record";
        EXPECT_EQ(seen.block, first.block) << "one block serves the series";
        EXPECT_EQ(seen.image, first.image);
        EXPECT_NE(seen.thread, gettid());
    }
}

TEST_F(AsyncCapture, OutcomesWithoutAnImageAreReportedAndOnlyFailuresEndTheSeries) {
    const ridgex_handle first = Start(Reader("r0", "outcome = reject") +
                                      Reader("r1", "outcome = fail\nfail_status = 0x05BA001F") +
                                      Reader("r2", "finger = manual"));
    const struct {
        ridgex_handle dev;
        bool unplug;
        size_t calls;
        uint32_t quality;
        ridgex_result error;
    } cases[] = {{first, false, 3, RIDGEX_QUALITY_CODE_11, RIDGEX_SUCCESS},
                 {Open("r1"), false, 1, RIDGEX_QUALITY_NO_IMAGE, RIDGEX_E_DEVICE_FAILURE},
                 {Open("r2"), true, 1, RIDGEX_QUALITY_CANCELED, RIDGEX_E_DEVICE_FAILURE}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.calls);
        async_recorder recorder;
        recorder.react = [&](size_t call, ridgex_capture_callback_data*) {
            if (call == 3) {
                ridgex_cancel(c.dev);
            }
        };
        ASSERT_EQ(recorder.Start(c.dev), RIDGEX_SUCCESS);
        if (c.unplug) {
            ASSERT_TRUE(WaitCapturing(2));
            ASSERT_EQ(
                sim_backends::control<ridgex_sim_disconnect_fn>(kSlot, "ridgex_sim_disconnect")(2),
                RIDGEX_SUCCESS);
        }
        ASSERT_TRUE(recorder.WaitFor(c.calls) && EventuallyReady(c.dev));
        std::this_thread::sleep_for(20ms);
        ASSERT_EQ(recorder.Count(), c.calls);
        for (size_t i = 0; i < c.calls; ++i) {
            ExpectNoImage(recorder.At(i), c.quality, c.error);
        }
        // The reader stayed open, and a new series needs no close.
        async_recorder again;
        again.react = [&](size_t, ridgex_capture_callback_data*) { ridgex_cancel(c.dev); };
        if (!c.unplug) {
            EXPECT_EQ(again.Start(c.dev), RIDGEX_SUCCESS);
            ASSERT_TRUE(again.WaitFor(1) && EventuallyReady(c.dev));
        }
        EXPECT_EQ(ridgex_close(c.dev), RIDGEX_SUCCESS);
    }
}

TEST_F(AsyncCapture, ImageThatOutgrowsTheBlockGetsANewOneSilently) {
    const ridgex_handle dev = Start(Reader("r0"), "r0", true);
    async_recorder recorder;
    recorder.react = [&](size_t call, ridgex_capture_callback_data*) {
        interposed::extra_room = 1000;
        if (call == 2) {
            ridgex_cancel(dev);
        }
    };
    ASSERT_EQ(recorder.Start(dev), RIDGEX_SUCCESS);
    ASSERT_TRUE(EventuallyReady(dev));
    ASSERT_EQ(recorder.Count(), 2u) << "the refused capture is not reported";
    const delivery second = recorder.At(1);
    EXPECT_EQ(second.error, RIDGEX_SUCCESS);
    EXPECT_EQ(second.image_size, kImageBytes);
    EXPECT_EQ(second.image_data, second.block + 72);
    EXPECT_EQ(second.image, recorder.At(0).image);
}

}  // namespace
}  // namespace capture_test
