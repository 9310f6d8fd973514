// The blocking capture, and the pad image request that shares its export.
#include <cstring>

#include "aggregator/lib_aggregator.h"
#include "liveness/spoof_detector.h"
#include "platform/thread.h"
#include "trace/trace_scope.h"

using SlvTraceNS::CTraceScope;

namespace {

constexpr uint32_t kCaptureParamMinSize = 16;
constexpr uint32_t kCaptureResultMinSize = 36;

bool IsPadImageRequest(uint32_t image_proc) {
    return image_proc >= RIDGEX_IMG_PROC_PAD0 && image_proc <= RIDGEX_IMG_PROC_PAD2;
}

// A pad image takes no busy lock, sets no signal and is not scored, so it
// may run beside a capture or a stream.
ridgex_result PadImage(CTraceScope& scope, AGGREGATOR_DEVICE_CONTEXT* context,
                       ridgex_capture_param* capture_parm, ridgex_capture_result* capture_result,
                       uint32_t* image_size, uint8_t* image_data) {
    capture_result->success = 0;
    capture_result->quality = 0;
    capture_result->score = 0;
    uint32_t pad_out1 = 0;
    uint32_t pad_out2 = 0;
    const ridgex_result status =
        context->pBackend->GetPadImage(context->handle, capture_parm->image_proc, &pad_out1,
                                       &pad_out2, &capture_result->info, image_size, image_data);
    if (status == RIDGEX_SUCCESS) {
        capture_result->success = 1;
    }
    if (status != RIDGEX_E_MORE_DATA) {
        scope.Result("", status);
    }
    return status;
}

}  // namespace

ridgex_result CLibAggregator::CheckLiveness(ridgex_handle dev, AGGREGATOR_DEVICE_CONTEXT* context,
                                            ridgex_capture_result* capture_result,
                                            uint32_t image_size, uint8_t* image_data) {
    const ridgex_result status = SpoofDetector::Instance().detect(dev, *context, capture_result);
    // A refused image never reaches the client, header included.
    if (status == RIDGEX_SUCCESS && capture_result->quality != RIDGEX_QUALITY_GOOD) {
        std::memset(image_data, 0xFF, image_size);
    }
    return status;
}

ridgex_result CLibAggregator::Capture(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                      uint32_t timeout, ridgex_capture_result* capture_result,
                                      uint32_t* image_size, uint8_t* image_data) {
    CTraceScope scope("CLibAggregator::Capture", 0);
    if (!IsInitialized() || dev == nullptr) {
        return RIDGEX_E_FAILURE;
    }
    if (capture_parm == nullptr || capture_parm->size < kCaptureParamMinSize) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    if (capture_result == nullptr || capture_result->size < kCaptureResultMinSize) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    if (image_size == nullptr || (*image_size != 0 && image_data == nullptr)) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    scope.Message("dev: %p, capture_parm: %p, timeout: %d, capture_result: %p", dev, capture_parm,
                  static_cast<int>(timeout), capture_result);
    scope.Message("image_size: %d, image_data: %p", static_cast<int>(*image_size), image_data);
    AGGREGATOR_DEVICE_CONTEXT* context = IsValid(dev);
    if (context == nullptr) {
        return RIDGEX_E_INVALID_DEVICE;
    }

    if (IsPadImageRequest(capture_parm->image_proc)) {
        const ridgex_result status =
            PadImage(scope, context, capture_parm, capture_result, image_size, image_data);
        RelRef(context);
        return status;
    }

    ridgex_result status = LockReader(context);
    if (status == RIDGEX_SUCCESS) {
        context->capture_thread_id = platform::current_thread_id();
        context->pSigStartCapture->Set();
        status = Backend(context->lib_index)
                     ->Capture(context->handle, capture_parm, timeout, capture_result, image_size,
                               image_data);
        if (status == RIDGEX_SUCCESS && capture_result->success != 0 &&
            capture_result->quality == RIDGEX_QUALITY_GOOD) {
            status = CheckLiveness(dev, context, capture_result, *image_size, image_data);
        }
        context->pSigFinishCapture->Set();
        // Cleared before the unlock: a capture that wins the lock next on
        // another thread must not lose its identifier to this one.
        context->capture_thread_id = 0;
        UnlockReader(context);
    }
    if (status != RIDGEX_E_MORE_DATA) {
        scope.Result("", status);
    }
    RelRef(context);
    return status;
}
