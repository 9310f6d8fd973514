// Cancel from anywhere: another thread, the client's callback on the
// capture thread, or a signal handler on any thread. No lock is taken at
// all. Nothing waits on the capture's own thread, nor in a handler that
// interrupted the library: that thread may hold what the capture needs to
// end (docs/signals.md).
#include "aggregator/lib_aggregator.h"
#include "base/call_depth.h"
#include "platform/thread.h"
#include "trace/trace_scope.h"

using SlvTraceNS::CTraceScope;

namespace {

// A capture that went in just after a request can miss it; the backend is
// told again at least this often until the capture has ended.
constexpr int32_t kCancelRoundMs = 500;

enum wait_index : int32_t { finished_capture = 0, started_capture = 1, finished_async = 2 };

// Tells the backend again and again until the capture has ended. Gives the
// status of the last backend Cancel and counts the rounds in `round`.
ridgex_result WaitForCaptureEnd(CTraceScope& scope, AGGREGATOR_DEVICE_CONTEXT* context,
                                ridgex_dll_t* backend, ridgex_result status, int32_t& round) {
    // What earlier captures left set must not end the wait; a signal of this
    // capture lost here is made up for by the tests of the fields.
    context->pSigStartCapture->Reset();
    context->pSigFinishCapture->Reset();
    context->pSigFinishAsyncCapture->Reset();
    signal_t* signals[] = {context->pSigFinishCapture, context->pSigStartCapture,
                           context->pSigFinishAsyncCapture};
    for (;;) {
        if (context->async_thread_id == 0 && context->capture_thread_id == 0) {
            scope.Message("EXIT:NO Capture thread running");
            return status;
        }
        if (context->locking_counter == 0) {
            scope.Message("Capture ALREADY UNLOCKED");
            return status;
        }
        const int32_t woken = wait_signal(3, signals, kCancelRoundMs);
        if (woken == finished_capture) {
            scope.Message("Capture thread exited on pSigFinishCapture");
            return status;
        }
        if (woken == finished_async) {
            scope.Message("Async Capture thread exited on >pSigFinishAsyncCapture");
            return status;
        }
        // A time-out, a failed wait, or a capture that has just gone in,
        // perhaps behind the last request: tell the backend again.
        if (woken == started_capture) {
            scope.Message("%d. Async Capture thread GOT pSigStartCapture", round);
        }
        scope.Message("%d. Waiting signal: %d ms", round, round * kCancelRoundMs);
        status = backend->Cancel(context->handle);
        ++round;
    }
}

}  // namespace

ridgex_result CLibAggregator::Cancel(ridgex_handle dev) {
    CTraceScope scope("CLibAggregator::Cancel", 0);
    if (!IsInitialized()) {
        return RIDGEX_E_FAILURE;
    }
    // The reference held from here keeps the record and its signals alive
    // through the wait, also when the capture drops its own first.
    AGGREGATOR_DEVICE_CONTEXT* context = IsValid(dev);
    if (context == nullptr) {
        return RIDGEX_E_INVALID_DEVICE;
    }
    scope.Message("pContext->locking_counter %ld", static_cast<long>(context->locking_counter));
    int32_t round = 0;
    ridgex_result status = RIDGEX_SUCCESS;
    // Nothing holds the reader, or a stream does, which a cancel leaves on.
    if (context->locking_counter != 0 && !context->streaming) {
        context->canceled = true;
        ridgex_dll_t* backend = Backend(context->lib_index);
        status = backend->Cancel(context->handle);
        const uint64_t self = platform::current_thread_id();
        if (self == context->async_thread_id) {
            scope.Message(
                "on the same thread as async capture, don't wait for capture to finish 0x%x",
                status);
        } else if (self == context->capture_thread_id) {
            scope.Message(
                "on the same thread as capture, very likely inside the signal handler, "
                "don't wait for capture to finish 0x%x",
                status);
        } else if (call_depth::Interrupting()) {
            // A cancel that waits on another thread tells the backend again.
            context->pSigStartCapture->Set();
        } else {
            status = WaitForCaptureEnd(scope, context, backend, status, round);
        }
    }
    // Counts rounds, not measured time.
    scope.Message("Stopping capture took %d ms result 0x%x", round * kCancelRoundMs, status);
    RelRef(context);
    return status;
}
