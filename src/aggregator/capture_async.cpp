// The asynchronous capture: a thread of its own per series, which captures
// again and again into one block and hands each result to the client's
// callback until a cancel or a failure ends the series.
#include <cstring>
#include <new>
#include <utility>

#include "aggregator/lib_aggregator.h"
#include "base/call_depth.h"
#include "base/spawn_thread.h"
#include "platform/memory.h"
#include "platform/thread.h"
#include "trace/trace_scope.h"

using SlvTraceNS::CTraceScope;

namespace {

// What CaptureAsync hands to its thread; the thread owns it, and the
// reference on the record that it carries, from its start.
struct async_capture_arg {
    ridgex_handle dev;
    AGGREGATOR_DEVICE_CONTEXT* context;
};

// The callback's block: the record, then room for the image.
ridgex_capture_callback_data* NewBlock(const AGGREGATOR_DEVICE_CONTEXT& context) {
    void* memory = platform::reallocate(
        nullptr, RIDGEX_CAPTURE_CALLBACK_DATA_SIZE + size_t{context.image_size});
    if (memory == nullptr) {
        return nullptr;
    }
    auto* block = static_cast<ridgex_capture_callback_data*>(memory);
    block->size = RIDGEX_CAPTURE_CALLBACK_DATA_SIZE;
    block->error = RIDGEX_SUCCESS;
    block->capture_parm = context.capture_parm;
    block->capture_result = ridgex_capture_result{};
    block->capture_result.size = sizeof(ridgex_capture_result);
    block->capture_result.info.size = sizeof(ridgex_image_info);
    block->image_size = 0;
    block->image_data = nullptr;
    return block;
}

uint8_t* ImagePlace(ridgex_capture_callback_data* block) {
    return reinterpret_cast<uint8_t*>(block) + RIDGEX_CAPTURE_CALLBACK_DATA_SIZE;
}

}  // namespace

ridgex_result CLibAggregator::CaptureAsync(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                           void* context, ridgex_async_callback callback) {
    CTraceScope scope("CLibAggregator::CaptureAsync", 0);
    scope.Message("hdev: %p, capture_parm: %p, context: %p callback: %p", dev, capture_parm,
                  context, reinterpret_cast<void*>(callback));
    if (dev == nullptr) {
        return RIDGEX_E_INVALID_DEVICE;
    }
    if (callback == nullptr || capture_parm == nullptr) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    // Before ridgex_init the table is empty, so this answers for that too.
    AGGREGATOR_DEVICE_CONTEXT* record = IsValid(dev);
    if (record == nullptr) {
        return RIDGEX_E_INVALID_DEVICE;
    }

    ridgex_result status = LockReader(record);
    if (status == RIDGEX_SUCCESS) {
        std::memcpy(&record->capture_parm, capture_parm, sizeof(record->capture_parm));
        record->async_context = context;
        record->async_callback = callback;
        record->canceled = false;
        record->image_size = 0;

        // With no room the backend answers at once: the size, or why these
        // parameters cannot be served.
        ridgex_capture_result probe{};
        probe.size = sizeof(probe);
        probe.info.size = sizeof(probe.info);
        status = record->pBackend->Capture(record->handle, capture_parm, RIDGEX_TIMEOUT_INFINITE,
                                           &probe, &record->image_size, nullptr);
        if (status == RIDGEX_E_MORE_DATA) {
            // The thread's own reference is taken here and handed over: were
            // it left to the thread, a close in the moment before the thread
            // runs could free the record, and a new open reuse it.
            auto* arg = new (std::nothrow) async_capture_arg{dev, IsValid(dev)};
            ++capture_threads_;
            const bool running = arg != nullptr && spawn_thread(AsyncCaptureThreadProc, arg) != 0;
            if (running) {
                // From here the busy lock belongs to the thread. The thread
                // notes its own identifier: stored from here, it could land
                // after the thread had ended and stay behind, stale, for a
                // cancel to wait on while a stream holds the reader.
                status = RIDGEX_SUCCESS;
            } else {
                --capture_threads_;
                scope.Message("!!! cannot spawn asynchronous capture thread");
                if (arg != nullptr) {
                    RelRef(arg->context);
                    delete arg;
                }
                status = arg == nullptr ? RIDGEX_E_NO_MEMORY : RIDGEX_E_FAILURE;
                UnlockReader(record);
            }
        } else {
            // A capture that succeeds without a buffer cannot serve a series.
            if (status == RIDGEX_SUCCESS) {
                status = RIDGEX_E_FAILURE;
            }
            UnlockReader(record);
        }
    }
    scope.Result("CaptureAsync() failed", status);
    RelRef(record);
    return status;
}

// The captures of one block, until one needs a bigger block (the result is
// then RIDGEX_E_MORE_DATA) or the series ends. The result is the last status.
ridgex_result CLibAggregator::CaptureSeries(CTraceScope& scope, ridgex_handle dev,
                                            AGGREGATOR_DEVICE_CONTEXT* context,
                                            ridgex_capture_callback_data* block) {
    ridgex_capture_result& result = block->capture_result;
    uint8_t* const image = ImagePlace(block);
    for (;;) {
        uint32_t size = context->image_size;
        block->image_size = size;
        block->image_data = image;
        context->pSigStartCapture->Set();
        ridgex_result status =
            context->pBackend->Capture(context->handle, &context->capture_parm,
                                       RIDGEX_TIMEOUT_INFINITE, &result, &size, image);
        if (status == RIDGEX_E_MORE_DATA) {
            context->image_size = size;
            return status;
        }
        scope.Result("", status);
        if (status == RIDGEX_SUCCESS && result.success != 0 &&
            result.quality == RIDGEX_QUALITY_GOOD) {
            status = CheckLiveness(dev, context, &result, size, image);
        }
        block->image_size = size;
        block->error = status;
        uint32_t callback_size = RIDGEX_CAPTURE_CALLBACK_DATA_SIZE + size;
        if (result.success == 0) {
            callback_size = RIDGEX_CAPTURE_CALLBACK_DATA_SIZE;
            block->image_size = 0;
            block->image_data = nullptr;
        }
        // A capture that a cancel ended is not reported.
        if (status == RIDGEX_SUCCESS && result.quality == RIDGEX_QUALITY_CANCELED) {
            scope.Message("async capture canceled (1)");
            return status;
        }
        scope.Message("invoking the callback, buffer: %p, size: %d", static_cast<void*>(block),
                      static_cast<int>(callback_size));
        // The client's code holds nothing of the library's: a cancel or a
        // close in the callback, or in a handler that interrupts it, acts
        // as on any thread outside the library.
        const uint32_t depth = std::exchange(call_depth::inside, 0);
        context->async_callback(context->async_context, 0, callback_size, block);
        call_depth::inside = depth;
        if (result.quality == RIDGEX_QUALITY_CANCELED) {
            scope.Message("async capture canceled (1)");
            return status;
        }
        if (context->canceled) {
            scope.Message("async capture cancelled  from inside CB (2)");
            return status;
        }
        if (status != RIDGEX_SUCCESS) {
            scope.Result("exit due to error during async capture 0x%x ", status);
            return status;
        }
    }
}

void CLibAggregator::AsyncCaptureThreadProc(void* parg) {
    CTraceScope scope("CLibAggregator::AsyncCaptureThreadProc", 0);
    if (parg == nullptr) {
        scope.Message("!!! SOS parg cannot be null");
        return;
    }
    auto* arg = static_cast<async_capture_arg*>(parg);
    const ridgex_handle dev = arg->dev;
    AGGREGATOR_DEVICE_CONTEXT* context = arg->context;
    scope.Message("AGGREGATOR_DEVICE_CONTEXT*:%p ", static_cast<void*>(context));
    // Before the first capture: a cancel from the callback must know its own
    // thread even if the first image arrives before CaptureAsync returns.
    const uint64_t self = platform::current_thread_id();
    context->async_thread_id = self;

    ridgex_result status = RIDGEX_E_NO_MEMORY;
    ridgex_capture_callback_data* block = NewBlock(*context);
    for (;;) {
        if (block == nullptr) {
            scope.Message(
                "!!! AsyncCaptureThreadProc cannot allocate memory, %d bytes",
                static_cast<int>(RIDGEX_CAPTURE_CALLBACK_DATA_SIZE + context->image_size));
            break;
        }
        status = CaptureSeries(scope, dev, context, block);
        platform::release(block);
        // Only an image that outgrew the block goes on, with a new one.
        if (status != RIDGEX_E_MORE_DATA || context->canceled) {
            break;
        }
        block = NewBlock(*context);
    }

    // In exactly this order: a cancel that returns on the finish signal
    // finds the reader free already, and the record is not touched after
    // the last reference has gone.
    UnlockReader(context);
    // A series that started in the moment since the unlock keeps its own.
    uint64_t mine = self;
    context->async_thread_id.compare_exchange_strong(mine, 0);
    context->pSigFinishAsyncCapture->Set();
    RelRef(context);
    delete arg;
    scope.Result("error during async capture", status);
    // The thread's very last touch of the library's state.
    --capture_threads_;
}
