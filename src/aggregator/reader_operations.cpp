// Operations forwarded to the reader's backend, with what the aggregator
// adds to each: the busy status, the busy lock around a stream, and
// housekeeping that a reader may lack turned into success.
#include "aggregator/reader_frame.h"
#include "trace/trace_scope.h"

using SlvTraceNS::CTraceScope;

namespace {

ridgex_dll_t* BackendOf(const AGGREGATOR_DEVICE_CONTEXT& context) {
    return CLibAggregator::Backend(context.lib_index);
}

// A reader without the feature says so; for the client that is no failure.
ridgex_result ForgiveNotImplemented(ridgex_result status) {
    return status == RIDGEX_E_NOT_IMPLEMENTED ? RIDGEX_SUCCESS : status;
}

}  // namespace

ridgex_result CLibAggregator::GetDeviceStatus(ridgex_handle dev, ridgex_device_status* dev_status) {
    CTraceScope scope("CLibAggregator::GetDeviceStatus", 0);
    return OnOpenReader(dev, [&](AGGREGATOR_DEVICE_CONTEXT& context) {
        const ridgex_result status = BackendOf(context)->GetStatus(context.handle, dev_status);
        // Whoever holds the busy lock (a capture, a series that is only
        // starting, a stream) shows as busy before the backend knows of it.
        if (status == RIDGEX_SUCCESS && context.locking_counter != 0 &&
            dev_status->status == RIDGEX_STATUS_READY) {
            dev_status->status = RIDGEX_STATUS_BUSY;
            scope.Message("Change status to BUSY when spawning async");
        }
        return status;
    });
}

ridgex_result CLibAggregator::GetDeviceCapabilities(ridgex_handle dev,
                                                    ridgex_device_caps* dev_caps) {
    return OnOpenReader(dev, [&](AGGREGATOR_DEVICE_CONTEXT& context) {
        return BackendOf(context)->GetCapabilities(context.handle, dev_caps);
    });
}

ridgex_result CLibAggregator::StartStream(ridgex_handle dev) {
    CTraceScope scope("CLibAggregator::StartStream", 0);
    return OnOpenReader(dev, [&](AGGREGATOR_DEVICE_CONTEXT& context) {
        ridgex_result status = LockReader(&context);
        if (status != RIDGEX_SUCCESS) {
            return status;
        }
        status = BackendOf(context)->StartStream(context.handle);
        if (status != RIDGEX_SUCCESS) {
            UnlockReader(&context);
            return status;
        }
        // The busy lock stays held until ridgex_stop_stream.
        context.streaming = true;
        return status;
    });
}

ridgex_result CLibAggregator::StopStream(ridgex_handle dev) {
    CTraceScope scope("CLibAggregator::StopStream", 0);
    const ridgex_result status = OnOpenReader(dev, [&](AGGREGATOR_DEVICE_CONTEXT& context) {
        const ridgex_result stopped = BackendOf(context)->StopStream(context.handle);
        // Only the stream's own lock is given back, also when the backend
        // failed; a capture's lock is not this call's to touch. Taking the
        // flag first lets only one of two racing stops give the lock back.
        if (context.streaming.exchange(false)) {
            UnlockReader(&context);
        }
        return stopped;
    });
    scope.Result("DRIVER failure", status);
    return status;
}

ridgex_result CLibAggregator::GetStreamImage(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                             ridgex_capture_result* capture_result,
                                             uint32_t* image_size, uint8_t* image_data) {
    CTraceScope scope("CLibAggregator::GetStreamImage", 0);
    return OnOpenReader(dev, [&](AGGREGATOR_DEVICE_CONTEXT& context) {
        return BackendOf(context)->GetStreamImage(context.handle, capture_parm, capture_result,
                                                  image_size, image_data);
    });
}

ridgex_result CLibAggregator::Reset(ridgex_handle dev) {
    return OnOpenReader(dev, [&](AGGREGATOR_DEVICE_CONTEXT& context) {
        return ForgiveNotImplemented(BackendOf(context)->Reset(context.handle));
    });
}

ridgex_result CLibAggregator::Calibrate(ridgex_handle dev) {
    return OnOpenReader(dev, [&](AGGREGATOR_DEVICE_CONTEXT& context) {
        return ForgiveNotImplemented(BackendOf(context)->Calibrate(context.handle));
    });
}

ridgex_result CLibAggregator::LedConfig(ridgex_handle dev, uint32_t led_id, uint32_t led_mode) {
    return OnOpenReader(dev, [&](AGGREGATOR_DEVICE_CONTEXT& context) {
        return ForgiveNotImplemented(
            BackendOf(context)->LedConfig(context.handle, led_id, led_mode, nullptr));
    });
}

ridgex_result CLibAggregator::LedCtrl(ridgex_handle dev, uint32_t led_id, uint32_t led_cmd) {
    return OnOpenReader(dev, [&](AGGREGATOR_DEVICE_CONTEXT& context) {
        return ForgiveNotImplemented(BackendOf(context)->LedCtrl(context.handle, led_id, led_cmd));
    });
}
