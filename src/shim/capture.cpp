// A capture on a reader of the built-in backend, and its cancel. The reader's
// acquisition runs from open to close; a capture only marks the reader as
// capturing, so that its events stay queued, and consumes the queue until an
// image, a refusal by quality, a disconnect, a cancel or the quiet time ends
// it.
//
// The descriptor is held by pointer across the wait. Nobody frees it while
// `capture_running` is set: a Close in that time takes it out of the table
// and sets `closed_while_capturing`, and the capture frees it as it ends.
#include <cstring>

#include "image/finger_image_record.h"
#include "shim/fpapi_shim.h"
#include "shim/shim_failure.h"
#include "shim/tavlo_api.h"

using SlvTraceNS::CTraceScope;

namespace {

constexpr uint32_t kCancelWaitMs = 1000;
// How often a capture that waits for the lock looks for a cancel.
constexpr uint32_t kLockRetryMs = 5;
constexpr uint32_t kParamMinSize = 16;
constexpr uint32_t kResultMinSize = 36;
constexpr int32_t kWokenByCancel = 0;
constexpr int32_t kWokenByEvent = 1;

// The reader library's image record, as far as it is read. Its fields end
// at kImageFieldsEnd; a shorter block is malformed.
constexpr size_t kImageRecordSize = 0x00;
constexpr size_t kImagePixelOffset = 0x28;
constexpr size_t kImageWidth = 0x40;
constexpr size_t kImageHeight = 0x44;
constexpr size_t kImageResolution = 0x48;
constexpr size_t kImageFieldsEnd = 0x4C;

uint32_t ReadU32(const uint8_t* bytes, size_t offset) {
    uint32_t value;
    std::memcpy(&value, bytes + offset, sizeof(value));
    return value;
}

// The reader library's quality codes as the client sees them.
uint32_t TranslateQuality(uint32_t code) {
    switch (code) {
        case 0:
            return RIDGEX_QUALITY_GOOD;
        case 9:
            return RIDGEX_QUALITY_CODE_9;
        case 10:
            return RIDGEX_QUALITY_CODE_10;
        case 11:
            return RIDGEX_QUALITY_CODE_11;
        case 12:
            return RIDGEX_QUALITY_CODE_12;
        case 14:
            return RIDGEX_QUALITY_CODE_14;
        case 15:
            return RIDGEX_QUALITY_CODE_15;
        case 16:
            return RIDGEX_QUALITY_CODE_16;
        case 17:
            return RIDGEX_QUALITY_CODE_17;
        case 18:
            return RIDGEX_QUALITY_CODE_18;
        case 22:
            return RIDGEX_QUALITY_REJECTED;
        default:
            return RIDGEX_QUALITY_NO_IMAGE;
    }
}

// An image event's record, tested: every byte that is read lies within the
// event's block. Sizes are compared in 64 bits, so that no product wraps.
struct tavlo_image_t {
    uint32_t width;
    uint32_t height;
    uint32_t resolution;
    const uint8_t* pixels;
    uint32_t pixels_length;  // bytes from the first pixel to the block's end
};

bool ReadImage(const ReaderEvent& event, tavlo_image_t* image) {
    const auto* block = static_cast<const uint8_t*>(event.data);
    if (block == nullptr || event.size < kImageFieldsEnd || event.size > UINT32_MAX) {
        return false;
    }
    const uint32_t record_size = ReadU32(block, kImageRecordSize);
    const uint32_t pixel_offset = ReadU32(block, kImagePixelOffset);
    image->width = ReadU32(block, kImageWidth);
    image->height = ReadU32(block, kImageHeight);
    image->resolution = ReadU32(block, kImageResolution);
    if (record_size > event.size || image->resolution == 0 ||
        uint64_t{image->width} * image->height + pixel_offset > record_size) {
        return false;
    }
    image->pixels = block + pixel_offset;
    image->pixels_length = static_cast<uint32_t>(event.size) - pixel_offset;
    return true;
}

void ClearResult(ridgex_capture_result* result) {
    result->success = 0;
    result->quality = RIDGEX_QUALITY_NO_IMAGE;
    result->score = 0;
    result->info = ridgex_image_info{sizeof(ridgex_image_info), 0, 0, 0, 0};
}

// The reader whose capture runs on this thread, from arming to the end of
// its wait: a cancel that a signal handler makes on this very thread must
// not wait for a capture that cannot go on until the handler returns.
thread_local ReaderDescriptor* capturing_here = nullptr;

}  // namespace

struct CFpapiShim::capture_call {
    CTraceScope& scope;
    ridgex_handle dev;
    const ridgex_capture_param* parm;
    uint32_t timeout;
    ridgex_capture_result* result;
    uint32_t* image_size;
    uint8_t* image_data;
    ReaderDescriptor* reader = nullptr;
    bool disconnected = false;
    const char* why = "";  // text of the failure line
};

ridgex_result CFpapiShim::CheckCaptureParams(const ReaderDescriptor& reader,
                                             const ridgex_capture_param* capture_parm) {
    CTraceScope scope("CFpapiShim::CheckCaptureParams", 0);
    if (capture_parm == nullptr || capture_parm->size < kParamMinSize) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    // The record has room for only so many resolutions, whatever it says.
    const uint32_t room =
        (sizeof(reader.caps_room) - RIDGEX_DEVICE_CAPS_FIXED_SIZE) / sizeof(uint32_t);
    const uint32_t listed = reader.caps.resolution_cnt < room ? reader.caps.resolution_cnt : room;
    bool known = false;
    for (uint32_t i = 0; i < listed && !known; ++i) {
        known = reader.caps.resolutions[i] == capture_parm->image_res;
    }
    if (!known) {
        scope.Message("wrong resolution requested: %d", capture_parm->image_res);
        return RIDGEX_E_INVALID_PARAMETER;
    }
    const uint32_t proc = capture_parm->image_proc;
    if (proc == RIDGEX_IMG_PROC_RAW) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    bool allowed = proc == RIDGEX_IMG_PROC_DEFAULT;
    if (!allowed && reader.priority == RIDGEX_PRIORITY_EXCLUSIVE) {
        allowed = proc == RIDGEX_IMG_PROC_MODE1   ? reader.caps.can_proc_mode1 != 0
                  : proc == RIDGEX_IMG_PROC_MODE2 ? reader.has_proc_2
                  : proc == RIDGEX_IMG_PROC_MODE3 ? reader.has_proc_3
                                                  : true;
    }
    if (!allowed) {
        scope.Message("wrong processing requested: %d", proc);
        return RIDGEX_E_INVALID_PARAMETER;
    }
    const uint32_t format = capture_parm->image_fmt;
    if (format != RIDGEX_IMG_FMT_RAW && format != RIDGEX_IMG_FMT_ANSI381 &&
        format != RIDGEX_IMG_FMT_ISO19794) {
        scope.Message("wrong image format requested: %d", format);
        return RIDGEX_E_INVALID_PARAMETER;
    }
    return RIDGEX_SUCCESS;
}

uint32_t CFpapiShim::CalculateBufferSize(const ReaderGeometry& geometry,
                                         const ridgex_capture_param* capture_parm,
                                         uint32_t* width_out, uint32_t* height_out) {
    CTraceScope scope("CFpapiShim::CalculateBufferSize", 0);
    // A reader without a resolution would divide by zero; it has no size.
    const uint32_t resolution = geometry.resolution != 0 ? geometry.resolution : UINT32_MAX;
    *width_out = geometry.width * capture_parm->image_res / resolution;
    *height_out = geometry.height * capture_parm->image_res / resolution;
    uint32_t size = *width_out * *height_out;
    if (capture_parm->image_fmt == RIDGEX_IMG_FMT_ANSI381) {
        size += kAnsiRecordHeaderSize;
    } else if (capture_parm->image_fmt == RIDGEX_IMG_FMT_ISO19794) {
        size += kIsoRecordHeaderSize;
    }
    return size;
}

bool CFpapiShim::UpdateProcessing(ReaderDescriptor& reader, uint32_t image_proc) {
    if (reader.priority != RIDGEX_PRIORITY_EXCLUSIVE || image_proc == reader.processing) {
        return false;
    }
    // Even if the reader refuses it, the value counts as sent until the
    // client asks for another.
    reader.processing = image_proc;
    tavlo::SendParameter(reader.device_id, tavlo::TAVLO_PARAM_IMAGE_PROCESSING, &image_proc,
                         sizeof(image_proc));
    return true;
}

ridgex_result CFpapiShim::Capture(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                  uint32_t timeout, ridgex_capture_result* capture_result,
                                  uint32_t* image_size, uint8_t* image_data) {
    CTraceScope scope("CFpapiShim::Capture", 0);
    TraceHandle(scope, dev);
    capture_call call{scope, dev, capture_parm, timeout, capture_result, image_size, image_data};
    ridgex_result status = ArmCapture(call);
    if (status == RIDGEX_SUCCESS) {
        capturing_here = call.reader;
        status = AwaitCaptureEnd(call);
        capturing_here = nullptr;
        EndCapture(call);
    }
    if (status != RIDGEX_SUCCESS && status != RIDGEX_E_MORE_DATA) {
        scope.Result(call.why, status | 0x80000000u);
    }
    return status;
}

ridgex_result CFpapiShim::ArmCapture(capture_call& call) {
    scoped_lock_t hold(lock_);
    // First, so that the queue holds no stale events and a reader that has
    // disconnected is closed before it is looked up.
    DrainIdleReaders();
    if (call.dev == nullptr) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    ReaderDescriptor* reader = FindReader(call.dev);
    if (reader == nullptr) {
        call.why = "cannot find reader";
        return RIDGEX_E_INVALID_DEVICE;
    }
    const ridgex_result status = CheckCaptureParams(*reader, call.parm);
    if (status != RIDGEX_SUCCESS) {
        return status;
    }
    if (call.result == nullptr || call.image_size == nullptr ||
        (*call.image_size != 0 && call.image_data == nullptr) ||
        call.result->size < kResultMinSize) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    // A reader whose size is not known yet is measured with the placeholder;
    // its true image may need more (see ConvertImage).
    uint32_t width = 0;
    uint32_t height = 0;
    const uint32_t needed = CalculateBufferSize(reader->geometry, call.parm, &width, &height);
    if (needed > *call.image_size) {
        call.scope.Message("image buffer is too small: %d, required: %d", *call.image_size, needed);
        *call.image_size = needed;
        return RIDGEX_E_MORE_DATA;
    }
    if (reader->capture_running) {
        call.why = "another capture is running";
        return RIDGEX_E_DEVICE_BUSY;
    }
    UpdateProcessing(*reader, call.parm->image_proc);
    reader->capture_running = true;
    reader->cancel_signal.Reset();
    reader->finish_signal.Reset();
    if (reader->stream_active) {
        const uint8_t one = 1;
        tavlo::SendParameter(reader->device_id, tavlo::TAVLO_PARAM_STREAM_TRIGGER, &one,
                             sizeof(one));
    }
    call.reader = reader;
    return RIDGEX_SUCCESS;
}

ridgex_result CFpapiShim::AwaitCaptureEnd(capture_call& call) {
    ReaderDescriptor& reader = *call.reader;
    signal_t* signals[] = {&reader.cancel_signal, &reader.event_signal};
    for (;;) {
        call.scope.Message("waiting for cancel or reader event...");
        // The time starts anew with every event: it bounds the quiet time.
        const int32_t woken = wait_signal(2, signals, call.timeout);
        ClearResult(call.result);
        if (woken == wait_signal_timed_out) {
            call.scope.Message("timeout expired");
            call.result->quality = RIDGEX_QUALITY_TIMED_OUT;
            return RIDGEX_SUCCESS;
        }
        if (woken == kWokenByCancel) {
            call.scope.Message("capture canceled");
            call.result->quality = RIDGEX_QUALITY_CANCELED;
            return RIDGEX_SUCCESS;
        }
        if (woken != kWokenByEvent) {
            call.scope.Message("wait_signal() returned unexpected code: 0x%x",
                               static_cast<uint32_t>(woken));
            return RIDGEX_E_FAILURE;
        }
        // A Cancel holds the lock while it waits for this capture to end:
        // its signal is looked at while the lock is not to be had.
        while (!lock_.LockFor(kLockRetryMs)) {
            signal_t* cancel[] = {&reader.cancel_signal};
            if (wait_signal(1, cancel, 0) == kWokenByCancel) {
                call.scope.Message("capture canceled");
                call.result->quality = RIDGEX_QUALITY_CANCELED;
                return RIDGEX_SUCCESS;
            }
        }
        ridgex_result status = RIDGEX_SUCCESS;
        bool ended = true;
        // A Close that could not stop the capture in time has taken the
        // reader out of the table; its events are no longer the client's.
        if (reader.closed_while_capturing) {
            call.scope.Message("reader closed during the capture");
            call.result->quality = RIDGEX_QUALITY_CANCELED;
        } else {
            ended = TakeEvents(call, &status);
        }
        lock_.Unlock();
        if (ended) {
            return status;
        }
    }
}

// Empties the reader's queue, oldest event first, until an event ends the
// capture; true with its status in `*status` if one did. `lock_` is held.
bool CFpapiShim::TakeEvents(capture_call& call, ridgex_result* status) {
    ReaderDescriptor& reader = *call.reader;
    ridgex_capture_result& result = *call.result;
    ReaderEvent* event = nullptr;
    while (reader.events.Pop(event)) {
        bool ended = true;
        switch (event->type) {
            case EVENT_IMAGE:
                call.scope.Message("image received, data size: %d",
                                   static_cast<uint32_t>(event->size));
                *status = ConvertImage(call, *event);
                break;
            case EVENT_QUALITY: {
                uint32_t code = 0;
                if (event->size == sizeof(code)) {
                    std::memcpy(&code, event->data, sizeof(code));
                }
                call.scope.Message("quality received: %d", code);
                result.success = 0;
                result.quality = TranslateQuality(code);
                *status = RIDGEX_SUCCESS;
                // Code 0 leaves the capture waiting for the image.
                ended = code != 0;
                break;
            }
            case EVENT_DISCONNECTED:
                call.scope.Message("reader disconnected, name: %s", reader.pDeviceInfo->name);
                call.disconnected = true;
                result.success = 0;
                result.quality = RIDGEX_QUALITY_CANCELED;
                *status = RIDGEX_E_DEVICE_FAILURE;
                break;
            default:
                call.scope.Message("event type: %d, data size: %d, ignoring", event->type,
                                   static_cast<uint32_t>(event->size));
                ended = false;
                break;
        }
        FreeReaderEvent(event);
        if (ended) {
            return true;
        }
    }
    return false;
}

// Writes the image of `event` into the caller's buffer, never past the room
// that `*image_size` gives: an image larger than the room, as the true image
// of a reader that was measured with the placeholder may be, gives
// RIDGEX_E_MORE_DATA with the size it needs, and the client's next call
// brings enough room. `lock_` is held.
ridgex_result CFpapiShim::ConvertImage(capture_call& call, const ReaderEvent& event) {
    ReaderDescriptor& reader = *call.reader;
    ridgex_capture_result& result = *call.result;
    const ridgex_capture_param& parm = *call.parm;
    tavlo_image_t image;
    ridgex_result status = RIDGEX_E_FAILURE;
    if (ReadImage(event, &image)) {
        if (reader.geometry.width == kPlaceholderSide ||
            reader.geometry.height == kPlaceholderSide) {
            reader.geometry = ReaderGeometry{image.width, image.height, image.resolution};
        }
        const bool rotate = reader.rotate_requested != reader.native_rotation;
        if (parm.image_fmt == RIDGEX_IMG_FMT_RAW) {
            const uint64_t width = uint64_t{image.width} * parm.image_res / image.resolution;
            const uint64_t height = uint64_t{image.height} * parm.image_res / image.resolution;
            const uint64_t needed = width * height;
            if (needed > UINT32_MAX) {
                status = RIDGEX_E_FAILURE;
            } else if (needed > *call.image_size) {
                *call.image_size = static_cast<uint32_t>(needed);
                status = RIDGEX_E_MORE_DATA;
            } else {
                if (needed != 0) {
                    ResampleImage(call.image_data, static_cast<uint32_t>(width),
                                  static_cast<uint32_t>(needed), image.pixels, image.width,
                                  image.height, image.resolution * 256 / parm.image_res, rotate);
                }
                status = RIDGEX_SUCCESS;
            }
        } else {
            status = WriteFingerImageRecord(
                image.width, image.height, image.resolution, image.pixels, image.pixels_length,
                parm.image_fmt, parm.image_res, rotate, call.image_data, call.image_size);
        }
    }
    result.success = 0;
    result.quality = RIDGEX_QUALITY_GOOD;
    if (status == RIDGEX_E_MORE_DATA) {
        call.scope.Message("image does not fit: %d bytes needed", *call.image_size);
        return status;
    }
    if (status != RIDGEX_SUCCESS) {
        call.scope.Message("!!! error when converting FDI");
        return RIDGEX_E_FAILURE;
    }
    const uint32_t size =
        CalculateBufferSize(reader.geometry, call.parm, &result.info.width, &result.info.height);
    call.scope.Message("image size: %d", size);
    result.info.res = parm.image_res;
    result.info.bpp = 8;
    result.success = 1;
    return RIDGEX_SUCCESS;
}

void CFpapiShim::EndCapture(capture_call& call) {
    ReaderDescriptor* reader = call.reader;
    // Without the lock: a Cancel holds it through its wait for this signal.
    reader->finish_signal.Set();
    ridgex_handle dev = nullptr;
    {
        scoped_lock_t hold(lock_);
        if (reader->closed_while_capturing) {
            // Close has taken it out of the table and left it to us.
            delete reader;
            return;
        }
        reader->capture_running = false;
        dev = reinterpret_cast<ridgex_handle>(reader->handle);
    }
    if (call.disconnected) {
        Close(dev);
    }
}

ridgex_result CFpapiShim::Cancel(ridgex_handle dev) {
    CTraceScope scope("CFpapiShim::Cancel", 0);
    // From a signal handler on the capturing thread: the capture is only
    // told, without the lock (which the interrupted code may hold) and
    // without a wait; it ends at its next wait.
    if (capturing_here != nullptr && capturing_here->handle == reinterpret_cast<uint64_t>(dev)) {
        scope.Message("on the capturing thread, not waiting");
        capturing_here->cancel_signal.Set();
        return RIDGEX_SUCCESS;
    }
    scoped_lock_t hold(lock_);
    DrainIdleReaders();
    if (dev == nullptr) {
        return ShimFailure(scope, RIDGEX_E_INVALID_PARAMETER);
    }
    ReaderDescriptor* reader = FindReaderTraced(scope, dev);
    if (reader == nullptr) {
        return ShimFailure(scope, RIDGEX_E_INVALID_DEVICE);
    }
    // Set also with no capture on: the next capture's arming resets it.
    reader->cancel_signal.Set();
    if (!reader->capture_running) {
        return RIDGEX_SUCCESS;
    }
    // The capture ends without the lock, so holding it here is no obstacle.
    signal_t* signals[] = {&reader->finish_signal};
    if (wait_signal(1, signals, kCancelWaitMs) == 0) {
        // Set again for any other Cancel that comes before the capture has
        // cleared `capture_running`; the next arming resets it.
        reader->finish_signal.Set();
        return RIDGEX_SUCCESS;
    }
    scope.Message("cannot stop capture");
    return ShimFailure(scope, RIDGEX_E_FAILURE);
}
