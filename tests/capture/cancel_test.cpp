// What a cancel does in each state of a reader and from each thread: idle,
// streaming, a blocking capture cancelled from another thread and from a
// signal handler on its own thread, an asynchronous series cancelled while
// starting, while waiting in the backend, while delivering, and from inside
// its own callback, and closes in the same places.
#include <pthread.h>
#include <signal.h>

#include <future>

#include "capture_support.h"

namespace capture_test {
namespace {

using Cancel = capture_fixture;
using CancelBlockingCapture = capture_fixture;
using CancelAsyncCapture = capture_fixture;

// What the SIGUSR1 handler of a test does, and what it saw.
std::atomic<ridgex_handle> handler_dev{nullptr};
std::atomic<bool> handler_closes{false};
std::atomic<ridgex_result> handler_result{0xFFFFFFFFu};
std::atomic<clock_type::duration> handler_time{clock_type::duration::max()};

void OnSignal(int) {
    const auto begin = clock_type::now();
    handler_result = handler_closes ? ridgex_close(handler_dev) : ridgex_cancel(handler_dev);
    handler_time = clock_type::now() - begin;
}

// Installs OnSignal for SIGUSR1 for the length of a test.
class cancel_handler {
  public:
    cancel_handler(ridgex_handle dev, bool close) {
        handler_dev = dev;
        handler_closes = close;
        handler_result = 0xFFFFFFFFu;
        handler_time = clock_type::duration::max();
        struct sigaction action = {};
        action.sa_handler = OnSignal;
        sigemptyset(&action.sa_mask);
        sigaction(SIGUSR1, &action, &previous_);
    }
    ~cancel_handler() { sigaction(SIGUSR1, &previous_, nullptr); }
    cancel_handler(const cancel_handler&) = delete;
    cancel_handler& operator=(const cancel_handler&) = delete;

  private:
    struct sigaction previous_ {};
};

void ExpectCancelled(const capture_thread& capture) {
    EXPECT_EQ(capture.status, RIDGEX_SUCCESS);
    EXPECT_EQ(capture.result.success, 0u);
    EXPECT_EQ(capture.result.quality, RIDGEX_QUALITY_CANCELED);
}

TEST_F(Cancel, IdleOrStreamingReaderIsLeftAloneAndUnknownHandlesRefused) {
    const ridgex_handle dev = Start(Reader("r0"));
    EXPECT_LT(Timed([&] { EXPECT_EQ(ridgex_cancel(dev), RIDGEX_SUCCESS); }), 100ms);
    EXPECT_EQ(ridgex_cancel(Handle(5)), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(ridgex_cancel(nullptr), RIDGEX_E_INVALID_DEVICE);
    ASSERT_EQ(ridgex_start_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_cancel(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(SimCount("cancel"), 0u);
    ridgex_capture_param parm = Param();
    ridgex_capture_result result = Result();
    std::vector<uint8_t> image(kImageBytes);
    uint32_t size = kImageBytes;
    EXPECT_EQ(ridgex_get_stream_image(dev, &parm, &result, &size, image.data()), RIDGEX_SUCCESS);
    EXPECT_EQ(Probe(dev), RIDGEX_E_DEVICE_BUSY) << "the stream still holds the reader";
    EXPECT_EQ(ridgex_stop_stream(dev), RIDGEX_SUCCESS);
}

TEST_F(CancelBlockingCapture, FromAnotherThreadReturnsOnceTheCaptureLeftTheBackend) {
    const ridgex_handle dev = Start(Reader("r0", "finger = manual"));
    capture_thread capture(dev);
    ASSERT_TRUE(WaitCapturing(0));
    EXPECT_LT(Timed([&] { EXPECT_EQ(ridgex_cancel(dev), RIDGEX_SUCCESS); }), 400ms)
        << "the finish signal, not a round, ends the wait";
    EXPECT_FALSE(WaitCapturing(0, 0));
    ASSERT_TRUE(capture.Join());
    ExpectCancelled(capture);
    EXPECT_EQ(Status(dev), RIDGEX_STATUS_READY);
}

TEST_F(CancelBlockingCapture, MissedRequestIsRepeatedEveryRound) {
    // The capture goes into the backend only after the first request came
    // and was lost; the next round tells the backend again.
    const ridgex_handle dev = Start(Reader("r0", "finger = manual"), "r0", true);
    capture_gate gate(capture_gate::holds::captures);
    capture_thread capture(dev);
    ASSERT_TRUE(gate.WaitEntered());
    auto cancelled = std::async(std::launch::async, [&] { return ridgex_cancel(dev); });
    ASSERT_TRUE(Eventually([] { return SimCount("cancel") == 1; }));
    gate.Release();
    ASSERT_TRUE(WaitCapturing(0));
    EXPECT_LT(Timed([&] { EXPECT_EQ(cancelled.get(), RIDGEX_SUCCESS); }), 600ms);
    EXPECT_GE(SimCount("cancel"), 2u);
    ASSERT_TRUE(capture.Join());
    ExpectCancelled(capture);
}

TEST_F(CancelBlockingCapture, FailingBackendCancelIsTheResultOnceTheCaptureEnds) {
    const ridgex_handle dev =
        Start("result.cancel = RIDGEX_E_DEVICE_FAILURE\n" + Reader("r0", "finger = manual"));
    capture_thread capture(dev);
    ASSERT_TRUE(WaitCapturing(0));
    auto cancelled = std::async(std::launch::async, [&] { return ridgex_cancel(dev); });
    EXPECT_EQ(cancelled.wait_for(100ms), std::future_status::timeout)
        << "the cancel waits while the capture runs";
    PlaceFinger(0);
    EXPECT_EQ(cancelled.get(), RIDGEX_E_DEVICE_FAILURE);
    ASSERT_TRUE(capture.Join());
    EXPECT_EQ(capture.result.success, 1u);
}

TEST_F(CancelBlockingCapture, CancelAndCloseFromASignalHandlerOnTheCapturingThread) {
    const ridgex_handle first =
        Start(Reader("r0", "finger = manual") + Reader("r1", "finger = manual"), "r0", true);
    for (int32_t close : {0, 1}) {
        SCOPED_TRACE(close ? "close" : "cancel");
        const ridgex_handle dev = close ? Open("r1") : first;
        cancel_handler handler(dev, close);
        capture_thread capture(dev);
        ASSERT_TRUE(WaitCapturing(close));
        // A refused second capture leaves the first one's thread in place.
        EXPECT_EQ(Probe(dev), RIDGEX_E_DEVICE_BUSY);
        ASSERT_TRUE(WaitAsleep(capture.tid));
        pthread_kill(capture.native(), SIGUSR1);
        ASSERT_TRUE(capture.Join());
        ExpectCancelled(capture);
        EXPECT_EQ(handler_result.load(), RIDGEX_SUCCESS);
        EXPECT_LT(handler_time.load(), 100ms) << "the handler must not wait for its own thread";
        if (!close) {
            EXPECT_EQ(Status(dev), RIDGEX_STATUS_READY);
            continue;
        }
        EXPECT_EQ(interposed::closes.load(), 1u);
        EXPECT_EQ(interposed::close_thread.load(), capture.tid.load());
        EXPECT_EQ(Status(dev), RIDGEX_STATUS_BUSY + 1) << "the handle is gone";
        EXPECT_EQ(ridgex_close(dev), RIDGEX_E_INVALID_DEVICE);
    }
}

TEST_F(CancelAsyncCapture, WhileStartingEndsTheSeriesBehindItsFirstCallback) {
    const ridgex_handle dev = Start(Reader("r0"), "r0", true);
    capture_gate gate(capture_gate::holds::size_probes);
    async_recorder recorder;
    auto started = std::async(std::launch::async, [&] { return recorder.Start(dev); });
    ASSERT_TRUE(gate.WaitEntered());
    EXPECT_EQ(Status(dev), RIDGEX_STATUS_BUSY) << "the starting series holds the reader";
    EXPECT_LT(Timed([&] { EXPECT_EQ(ridgex_cancel(dev), RIDGEX_SUCCESS); }), 100ms)
        << "no thread yet, nothing to wait for";
    EXPECT_EQ(SimCount("cancel"), 1u);
    gate.Release();
    EXPECT_EQ(started.get(), RIDGEX_SUCCESS);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(EventuallyReady(dev));
    EXPECT_EQ(recorder.Count(), 1u);
}

TEST_F(CancelAsyncCapture, WhileWaitingForAFingerGivesNoCallback) {
    const ridgex_handle dev = Start(Reader("r0", "finger = manual"));
    async_recorder recorder;
    ASSERT_EQ(recorder.Start(dev), RIDGEX_SUCCESS);
    ASSERT_TRUE(WaitCapturing(0));
    EXPECT_LT(Timed([&] { EXPECT_EQ(ridgex_cancel(dev), RIDGEX_SUCCESS); }), 400ms);
    EXPECT_EQ(Status(dev), RIDGEX_STATUS_READY) << "the series has ended on return";
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(recorder.Count(), 0u);
}

TEST_F(CancelAsyncCapture, FromAnotherThreadWaitsForTheCallback) {
    const ridgex_handle dev = Start(Reader("r0"));
    std::atomic<bool> callback_returned{false};
    async_recorder recorder;
    recorder.react = [&](size_t call, ridgex_capture_callback_data*) {
        if (call == 1) {
            std::this_thread::sleep_for(200ms);
            callback_returned = true;
        }
    };
    ASSERT_EQ(recorder.Start(dev), RIDGEX_SUCCESS);
    ASSERT_TRUE(Eventually([&] { return recorder.in_callback.load(); }));
    EXPECT_EQ(ridgex_cancel(dev), RIDGEX_SUCCESS);
    EXPECT_TRUE(callback_returned.load());
    EXPECT_EQ(Status(dev), RIDGEX_STATUS_READY);
    EXPECT_EQ(recorder.Count(), 1u);
}

TEST_F(CancelAsyncCapture, CancelAndCloseFromInsideTheCallbackReturnAtOnce) {
    const ridgex_handle first = Start(Reader("r0") + Reader("r1"), "r0", true);
    for (const bool close : {false, true}) {
        SCOPED_TRACE(close ? "close" : "cancel");
        const ridgex_handle dev = close ? Open("r1") : first;
        std::atomic<ridgex_result> ended{0xFFFFFFFFu};
        std::atomic<ridgex_result> busy{0xFFFFFFFFu};
        std::atomic<clock_type::duration> took{clock_type::duration::max()};
        std::atomic<uint32_t> status_before{99};
        std::atomic<uint32_t> status_after{99};
        std::atomic<uint32_t> closes_in_callback{99};
        async_recorder recorder;
        recorder.react = [&](size_t call, ridgex_capture_callback_data*) {
            if (call != 1) {
                return;
            }
            // The backend says ready in the callback; the series holds the reader.
            status_before = Status(dev);
            took = Timed([&] { ended = close ? ridgex_close(dev) : ridgex_cancel(dev); });
            status_after = Status(dev);
            closes_in_callback = interposed::closes.load();
            async_recorder other;
            busy = other.Start(dev);
        };
        ASSERT_EQ(recorder.Start(dev), RIDGEX_SUCCESS);
        ASSERT_TRUE(Eventually(
            [&] { return Status(dev) == (close ? RIDGEX_STATUS_BUSY + 1 : RIDGEX_STATUS_READY); }));
        EXPECT_EQ(ended.load(), RIDGEX_SUCCESS);
        EXPECT_LT(took.load(), 100ms);
        EXPECT_EQ(status_before.load(), RIDGEX_STATUS_BUSY);
        EXPECT_EQ(status_after.load(), RIDGEX_STATUS_BUSY)
            << "the thread's reference keeps the handle valid inside the callback";
        std::this_thread::sleep_for(20ms);
        EXPECT_EQ(recorder.Count(), 1u);
        if (!close) {
            EXPECT_EQ(busy.load(), RIDGEX_E_DEVICE_BUSY) << "busy until the thread ends";
            continue;
        }
        EXPECT_EQ(closes_in_callback.load(), 0u) << "the backend closes behind the callback";
        EXPECT_EQ(interposed::closes.load(), 1u);
        EXPECT_EQ(interposed::close_thread.load(), recorder.At(0).thread);
        EXPECT_EQ(SimCount("close", 1), 1u);
    }
}

}  // namespace
}  // namespace capture_test
