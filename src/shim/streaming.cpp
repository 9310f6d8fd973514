// Streams on a reader of the built-in backend, and the reset of its
// acquisition. A stream runs on an exclusive acquisition, whatever the
// reader was opened with, with the reader library's stream mode on; each of
// its images is an ordinary capture that triggers the reader first.
#include "platform/thread.h"
#include "shim/fpapi_shim.h"
#include "shim/shim_failure.h"
#include "shim/tavlo_api.h"

using SlvTraceNS::CTraceScope;

namespace {

constexpr uint32_t kStreamImageTimeoutMs = 5000;

// One model needs a rest after its stream ends before it captures again.
constexpr uint16_t kRestingVid = 0x05BA;
constexpr uint16_t kRestingPid = 0x000A;
constexpr uint32_t kRestAfterStreamMs = 300;

int32_t SendStreamMode(const ReaderDescriptor& reader, bool on) {
    const uint8_t value = on ? 1 : 0;
    return tavlo::SendParameter(reader.device_id, tavlo::TAVLO_PARAM_STREAM_MODE, &value,
                                sizeof(value));
}

ridgex_result ReaderNotFound(CTraceScope& scope) {
    scope.Result("cannot find reader", RIDGEX_E_INVALID_DEVICE | 0x80000000u);
    return RIDGEX_E_INVALID_DEVICE;
}

}  // namespace

ridgex_result CFpapiShim::StartStream(ridgex_handle dev) {
    CTraceScope scope("CFpapiShim::StartStream", 0);
    scoped_lock_t hold(lock_);
    DrainIdleReaders();
    ReaderDescriptor* reader = FindReader(dev);
    if (reader == nullptr) {
        return ReaderNotFound(scope);
    }
    if (reader->capture_running || reader->stream_active) {
        return ShimFailure(scope, RIDGEX_E_DEVICE_BUSY);
    }
    if (reader->pCaps->can_stream == 0) {
        scope.Message("reader cannot stream");
        return ShimFailure(scope, RIDGEX_E_INVALID_PARAMETER);
    }
    AcquisitionStop(reader->acquisition);
    // Whatever the code, the handle tells: none means somebody else holds
    // the reader exclusively, and the reader is left without acquisition.
    AcquisitionStart(RIDGEX_PRIORITY_EXCLUSIVE, reader->device_id, &reader->acquisition);
    if (reader->acquisition == 0) {
        scope.Message("likely reader is already opened with exclusive priority");
        return ShimFailure(scope, RIDGEX_E_DEVICE_BUSY);
    }
    SendStreamMode(*reader, true);
    reader->stream_active = true;
    return RIDGEX_SUCCESS;
}

ridgex_result CFpapiShim::StopStream(ridgex_handle dev) {
    CTraceScope scope("CFpapiShim::StopStream", 0);
    ridgex_result status = RIDGEX_SUCCESS;
    bool rest = false;
    {
        scoped_lock_t hold(lock_);
        DrainIdleReaders();
        ReaderDescriptor* reader = FindReader(dev);
        if (reader == nullptr) {
            return ReaderNotFound(scope);
        }
        if (reader->pCaps->can_stream == 0 || !reader->stream_active) {
            return RIDGEX_SUCCESS;
        }
        rest = reader->pDeviceInfo->vid == kRestingVid && reader->pDeviceInfo->pid == kRestingPid;
        AcquisitionStop(reader->acquisition);
        AcquisitionStart(reader->priority, reader->device_id, &reader->acquisition);
        if (reader->acquisition == 0) {
            scope.Message("cannot start acquisition operation");
            status = RIDGEX_E_DEVICE_FAILURE;
        }
        SendStreamMode(*reader, false);
        reader->stream_active = false;
    }
    // Outside the lock, so that the rest holds up nobody else.
    if (rest) {
        platform::sleep_ms(kRestAfterStreamMs);
    }
    return status == RIDGEX_SUCCESS ? status : ShimFailure(scope, status);
}

ridgex_result CFpapiShim::GetStreamImage(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                         ridgex_capture_result* capture_result,
                                         uint32_t* image_size, uint8_t* image_data) {
    CTraceScope scope("CFpapiShim::GetStreamImage", 0);
    {
        scoped_lock_t hold(lock_);
        ReaderDescriptor* reader = FindReader(dev);
        if (reader == nullptr) {
            return ReaderNotFound(scope);
        }
        if (!reader->stream_active) {
            return ShimFailure(scope, RIDGEX_E_DEVICE_BUSY);
        }
        // New processing takes effect in a stream when the mode is sent
        // again. Parameters that Capture refuses are left to it.
        if (capture_parm != nullptr && UpdateProcessing(*reader, capture_parm->image_proc)) {
            SendStreamMode(*reader, true);
        }
    }
    const ridgex_result status =
        Capture(dev, capture_parm, kStreamImageTimeoutMs, capture_result, image_size, image_data);
    if (status != RIDGEX_SUCCESS) {
        return ShimFailure(scope, status);
    }
    // A stream that sends no image is broken, not quiet.
    if (capture_result->quality == RIDGEX_QUALITY_TIMED_OUT) {
        scope.Message("timeout on streaming");
        return ShimFailure(scope, RIDGEX_E_DEVICE_FAILURE);
    }
    return RIDGEX_SUCCESS;
}

ridgex_result CFpapiShim::Reset(ridgex_handle dev) {
    CTraceScope scope("CFpapiShim::Reset", 0);
    scoped_lock_t hold(lock_);
    ReaderDescriptor* reader = FindReader(dev);
    if (reader == nullptr) {
        return ReaderNotFound(scope);
    }
    // No stop and no wait: the acquisition is replaced as it stands, and
    // always by a shared one.
    NoteStopping(reader->device_id);
    tavlo::DestroyAcquisition(reader->acquisition);
    NoteStopping(nullptr);
    int32_t code = tavlo::CreateAcquisitionWithCallback(
        RIDGEX_PRIORITY_SHARED, reader->device_id, tavlo::kAcquisitionKind,
        AcquisitionCallbackEntry, this, &reader->acquisition);
    if (code < 0) {
        scope.Message("cannot create acquisition operation, error 0x%x",
                      static_cast<uint32_t>(code));
        return ShimFailure(scope, RIDGEX_E_DEVICE_FAILURE);
    }
    code = tavlo::StartAcquisition(reader->acquisition);
    if (code < 0) {
        scope.Message("cannot start acquisition operation, error 0x%x",
                      static_cast<uint32_t>(code));
        return ShimFailure(scope, RIDGEX_E_DEVICE_FAILURE);
    }
    reader->stream_active = false;
    return RIDGEX_SUCCESS;
}

ridgex_result CFpapiShim::Calibrate(ridgex_handle) {
    return RIDGEX_SUCCESS;
}
