// What a cancel does in each state of a reader and from each thread: idle,
// streaming, a blocking capture cancelled from another thread and from a
// signal handler on its own thread, an asynchronous series cancelled while
// starting, while waiting in the backend, while delivering, and from inside
// its own callback, and closes in the same places; and handlers that
// interrupt a thread held inside the library.
#include <pthread.h>
#include <signal.h>
#include <sys/syscall.h>

#include <future>

#include "base/test_seam.h"
#include "capture_support.h"
#include "platform/syscalls.h"
#include "support/syscall_override.h"
#include "support/temp_folder.h"
#include "support/thread_asleep.h"
#include "trace/trace_front_end.h"

namespace capture_test {
namespace {

using Cancel = capture_fixture;

// What the SIGUSR1 handler of a test does, and what it saw: a cancel, or a
// cancel and a close, of handler_dev, then a close of handler_idle if set.
std::atomic<ridgex_handle> handler_dev{nullptr}, handler_idle{nullptr};
std::atomic<bool> handler_closes{false};
std::atomic<ridgex_result> handler_result{0xFFFFFFFFu};

void OnSignal(int) {
    ridgex_result result = ridgex_cancel(handler_dev);
    result |= handler_closes ? ridgex_close(handler_dev) : RIDGEX_SUCCESS;
    handler_result = result | (handler_idle != nullptr ? ridgex_close(handler_idle) : 0);
}

void ExpectCancelled(const capture_thread& capture) {
    EXPECT_EQ(capture.status, RIDGEX_SUCCESS);
    EXPECT_EQ(capture.result.success, 0u);
    EXPECT_EQ(capture.result.quality, RIDGEX_QUALITY_CANCELED);
}

TEST_F(Cancel, IdleOrStreamingReaderIsLeftAloneAndUnknownHandlesRefused) {
    const ridgex_handle dev = Start(Reader("r0"));
    EXPECT_EQ(ridgex_cancel(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_cancel(Handle(5)), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(ridgex_cancel(nullptr), RIDGEX_E_INVALID_DEVICE);
    ASSERT_EQ(ridgex_start_stream(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_cancel(dev), RIDGEX_SUCCESS);
    EXPECT_EQ(SimCount("cancel"), 0u);
    EXPECT_EQ(Probe(dev), RIDGEX_E_DEVICE_BUSY) << "the stream still holds the reader";
    EXPECT_EQ(ridgex_stop_stream(dev), RIDGEX_SUCCESS);
}

// A blocking capture that waits for a finger, ended by a cancel from another
// thread, or by a cancel or a close from a signal handler on its own thread,
// which must not wait for the capture it interrupted.
TEST_F(Cancel, BlockingCaptureFromAnotherThreadOrItsOwnSignalHandler) {
    const std::string manual = "finger = manual";
    const ridgex_handle first =
        Start(Reader("r0", manual) + Reader("r1", manual) + Reader("r2", manual), "r0", true);
    struct sigaction action = {}, previous = {};
    action.sa_handler = OnSignal;
    sigaction(SIGUSR1, &action, &previous);
    for (const int32_t reader : {0, 1, 2}) {
        SCOPED_TRACE(reader);
        const bool in_handler = reader > 0, close = reader == 2;
        const ridgex_handle dev = reader > 0 ? Open(reader == 1 ? "r1" : "r2") : first;
        handler_dev = dev;
        handler_closes = close;
        handler_result = 0xFFFFFFFFu;
        capture_thread capture(dev);
        ASSERT_TRUE(WaitCapturing(reader));
        // A refused second capture leaves the first one's thread in place.
        EXPECT_EQ(Probe(dev), RIDGEX_E_DEVICE_BUSY);
        if (in_handler) {
            ASSERT_TRUE(WaitAsleep(capture.tid));
            pthread_kill(capture.thread.native_handle(), SIGUSR1);
        } else {
            EXPECT_EQ(ridgex_cancel(dev), RIDGEX_SUCCESS);
            EXPECT_FALSE(WaitCapturing(reader, 0)) << "returns once the capture left the backend";
        }
        ASSERT_TRUE(capture.Join());
        ExpectCancelled(capture);
        if (in_handler) {
            EXPECT_EQ(handler_result.load(), RIDGEX_SUCCESS);
        }
        EXPECT_EQ(Status(dev), close ? RIDGEX_STATUS_BUSY + 1 : RIDGEX_STATUS_READY);
        EXPECT_EQ(interposed::closes.load(), close ? 1u : 0u);
        if (close) {
            EXPECT_EQ(interposed::close_thread.load(), capture.tid.load());
            EXPECT_EQ(ridgex_close(dev), RIDGEX_E_INVALID_DEVICE) << "the handle is gone";
        }
    }
    sigaction(SIGUSR1, &previous, nullptr);
}

// Holds the first thread that passes the armed point (a seam of the
// library, or kAllocation: its next allocation) until released.
struct holder {
    static constexpr int kAllocation = static_cast<int>(seam_point::trace_record) + 1;
    static inline std::atomic<int> armed{-1};
    static inline std::atomic<pid_t> held{0};
    static inline std::atomic<bool> released{false};
    static void Pass(int point) {
        if (int expected = point; armed.compare_exchange_strong(expected, -1)) {
            held = gettid();
            while (!released) {
                std::this_thread::sleep_for(1ms);
            }
        }
    }
};

// A thread held where it holds a lock of the library or allocates, with
// tracing on, is interrupted by a handler that cancels and closes a reader
// capturing on another thread and closes an idle one. The handler never
// waits; the capture ends cancelled; each reader closes exactly once, the
// idle one at the next call outside the handler.
TEST_F(Cancel, HandlerOnAThreadHeldInsideTheLibraryNeverWaits) {
    alarm(120);  // a deadlock ends the program with SIGALRM
    ridgex_test::TempFolder folder;
    ridgex_test::RegistryFile registry(folder);
    registry.Write(ridgex_test::kTracingKey + "\"DoTrace\"=dword:1\n\"Verbosity\"=dword:a\n" +
                   "\"FileName\"=\"" + folder / "hunt.trc3" + "\"\n");
    SlvTraceNS::RestoreLoadState();
    std::string config = Reader("auto") + Reader("spare");
    for (int i = 0; i <= 2 * holder::kAllocation + 1; ++i) {
        config += Reader("m" + std::to_string(i), "finger = manual");
    }
    const ridgex_handle automatic = Start(config, "auto");
    syscall_override held_allocation(
        &platform::syscall_table::realloc, +[](void* block, size_t size) -> void* {
            holder::Pass(holder::kAllocation);
            return realloc(block, size);
        });
    seam_hook = [](seam_point point) { holder::Pass(static_cast<int>(point)); };
    struct sigaction action = {}, previous = {};
    action.sa_handler = OnSignal;
    handler_closes = true;
    sigaction(SIGUSR1, &action, &previous);
    for (int point = 0; point <= holder::kAllocation; ++point) {
        SCOPED_TRACE(point);
        const int32_t capturing = 2 + 2 * point;  // the readers' places in the configuration
        handler_dev = Open(("m" + std::to_string(2 * point)).c_str());
        handler_idle = Open(("m" + std::to_string(2 * point + 1)).c_str());
        capture_thread capture(handler_dev);
        ASSERT_TRUE(WaitCapturing(capturing));
        handler_result = 0xFFFFFFFFu;
        holder::released = false;
        holder::held = 0;
        holder::armed = point;
        async_recorder series;
        ridgex_handle spare = nullptr;
        std::thread inside([&] {
            if (point == holder::kAllocation) {
                series.Start(automatic);  // its thread allocates a block
            } else if (point == static_cast<int>(seam_point::insert)) {
                ridgex_open("$01$spare", &spare);
            } else {
                Status(automatic);
            }
        });
        ASSERT_TRUE(Eventually([] { return holder::held != 0; }) && WaitAsleep(holder::held));
        syscall(SYS_tgkill, getpid(), holder::held.load(), SIGUSR1);
        EXPECT_TRUE(Eventually([] { return handler_result == RIDGEX_SUCCESS; })) << "it waited";
        holder::released = true;
        inside.join();
        ASSERT_TRUE(capture.Join());
        ExpectCancelled(capture);
        ridgex_cancel(automatic);
        ridgex_close(spare);
        EXPECT_EQ(SimCount("close", capturing), 1u);
        EXPECT_EQ(SimCount("close", capturing + 1), 1u);
    }
    handler_idle = nullptr;
    seam_hook = nullptr;
    EXPECT_TRUE(WaitForThreadCount(threads_at_start_)) << "before the registry goes";
    sigaction(SIGUSR1, &previous, nullptr);
    registry.Write("");
    SlvTraceNS::RestoreLoadState();
    alarm(0);
}

TEST_F(Cancel, MissedRequestIsRepeatedEveryRound) {
    // The capture goes into the backend only after the first request came
    // and was lost; the next round tells the backend again.
    const ridgex_handle dev = Start(Reader("r0", "finger = manual"), "r0", true);
    capture_gate gate(false);
    capture_thread capture(dev);
    ASSERT_TRUE(gate.WaitEntered());
    auto cancelled = std::async(std::launch::async, [&] { return ridgex_cancel(dev); });
    ASSERT_TRUE(Eventually([] { return SimCount("cancel") == 1; }));
    gate.Release();
    ASSERT_TRUE(WaitCapturing(0));
    EXPECT_EQ(cancelled.get(), RIDGEX_SUCCESS);
    EXPECT_GE(SimCount("cancel"), 2u);
    ASSERT_TRUE(capture.Join());
    ExpectCancelled(capture);
}

TEST_F(Cancel, FailingBackendCancelIsTheResultOnceTheCaptureEnds) {
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

TEST_F(Cancel, SeriesWhileStartingEndsBehindItsFirstCallback) {
    const ridgex_handle dev = Start(Reader("r0"), "r0", true);
    capture_gate gate(true);
    async_recorder recorder;
    auto started = std::async(std::launch::async, [&] { return recorder.Start(dev); });
    ASSERT_TRUE(gate.WaitEntered());
    EXPECT_EQ(Status(dev), RIDGEX_STATUS_BUSY) << "the starting series holds the reader";
    EXPECT_EQ(ridgex_cancel(dev), RIDGEX_SUCCESS) << "no thread yet, nothing to wait for";
    EXPECT_EQ(SimCount("cancel"), 1u);
    gate.Release();
    EXPECT_EQ(started.get(), RIDGEX_SUCCESS);
    ASSERT_TRUE(recorder.WaitFor(1) && EventuallyReady(dev));
    EXPECT_EQ(recorder.Count(), 1u);
}

// From another thread a cancel returns only once the series has ended: while
// the backend waits for a finger no callback comes, and a running callback
// is waited for.
TEST_F(Cancel, SeriesFromAnotherThreadEndsItBeforeReturning) {
    const ridgex_handle first = Start(Reader("r0", "finger = manual") + Reader("r1"));
    for (const bool in_callback : {false, true}) {
        const ridgex_handle dev = in_callback ? Open("r1") : first;
        std::atomic<int> stage{0};
        async_recorder recorder;
        recorder.react = [&](size_t call, ridgex_capture_callback_data*) {
            if (call == 1) {
                stage = 1;
                std::this_thread::sleep_for(200ms);
                stage = 2;
            }
        };
        ASSERT_EQ(recorder.Start(dev), RIDGEX_SUCCESS);
        ASSERT_TRUE(in_callback ? Eventually([&] { return stage == 1; }) : WaitCapturing(0));
        EXPECT_EQ(ridgex_cancel(dev), RIDGEX_SUCCESS);
        EXPECT_EQ(stage.load(), in_callback ? 2 : 0);
        EXPECT_EQ(Status(dev), RIDGEX_STATUS_READY) << "the series has ended on return";
        std::this_thread::sleep_for(20ms);
        EXPECT_EQ(recorder.Count(), in_callback ? 1u : 0u);
    }
}

TEST_F(Cancel, SeriesCancelOrCloseFromInsideTheCallbackReturnsAtOnce) {
    const ridgex_handle first = Start(Reader("r0") + Reader("r1"), "r0", true);
    for (const bool close : {false, true}) {
        SCOPED_TRACE(close ? "close" : "cancel");
        const ridgex_handle dev = close ? Open("r1") : first;
        std::atomic<uint32_t> seen[5] = {99, 99, 99, 99, 99};
        async_recorder recorder;
        recorder.react = [&](size_t call, ridgex_capture_callback_data*) {
            if (call == 1) {
                // The backend says ready in the callback; the series holds the
                // reader, and the thread's reference keeps the handle valid.
                seen[0] = Status(dev);
                seen[1] = close ? ridgex_close(dev) : ridgex_cancel(dev);
                seen[2] = Status(dev);
                seen[3] = interposed::closes.load();
                async_recorder other;
                seen[4] = other.Start(dev);
            }
        };
        ASSERT_EQ(recorder.Start(dev), RIDGEX_SUCCESS);
        ASSERT_TRUE(Eventually(
            [&] { return Status(dev) == (close ? RIDGEX_STATUS_BUSY + 1 : RIDGEX_STATUS_READY); }));
        EXPECT_EQ(seen[0], RIDGEX_STATUS_BUSY);
        EXPECT_EQ(seen[1], RIDGEX_SUCCESS);
        EXPECT_EQ(seen[2], RIDGEX_STATUS_BUSY);
        EXPECT_EQ(seen[3], 0u) << "the backend closes behind the callback";
        EXPECT_EQ(seen[4], RIDGEX_E_DEVICE_BUSY) << "busy until the thread ends";
        std::this_thread::sleep_for(20ms);
        EXPECT_EQ(recorder.Count(), 1u);
        EXPECT_EQ(interposed::closes.load(), close ? 1u : 0u);
        if (close) {
            EXPECT_EQ(interposed::close_thread.load(), recorder.At(0).thread);
        }
    }
}

}  // namespace
}  // namespace capture_test
