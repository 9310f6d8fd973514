// The table of open readers: opening, closing and inspecting a reader, and
// the sweep that nearly every operation runs first.
#include <cstring>
#include <new>

#include "platform/guid.h"
#include "platform/memory.h"
#include "platform/thread.h"
#include "shim/fpapi_shim.h"
#include "shim/shim_failure.h"
#include "shim/tavlo_api.h"

using SlvTraceNS::CTraceScope;

namespace {

// What Close sends to put the LEDs back as the reader library keeps them.
constexpr uint32_t kLedsAtClose[2] = {0xFFFFFFFFu, 1};

// Takes `reader` out of the table without destroying it. False if it is not
// in the table.
bool TakeOut(vector_t<ReaderDescriptor*, 4>& readers, const ReaderDescriptor* reader) {
    for (uint64_t i = 0; i < readers.count; ++i) {
        if (readers.items[i] == reader) {
            readers.Remove(i);
            return true;
        }
    }
    return false;
}

bool AllZero(const uint8_t* bytes, size_t size) {
    for (size_t i = 0; i < size; ++i) {
        if (bytes[i] != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

ReaderDescriptor::ReaderDescriptor() {
    std::memset(caps_room, 0, sizeof(caps_room));
    caps.size = sizeof(caps_room);
    device_info = ridgex_device_info{};
    device_info.size = sizeof(device_info);
}

ReaderDescriptor::~ReaderDescriptor() {
    ReaderEvent* event = nullptr;
    while (events.Pop(event)) {
        FreeReaderEvent(event);
    }
}

void FreeReaderEvent(ReaderEvent* event) {
    if (event != nullptr) {
        platform::release(event->data);
        platform::release(event);
    }
}

ReaderDescriptor* CFpapiShim::FindReader(ridgex_handle dev) {
    const auto handle = reinterpret_cast<uint64_t>(dev);
    for (uint64_t i = 0; i < readers_.count; ++i) {
        if (readers_.items[i]->handle == handle) {
            return readers_.items[i];
        }
    }
    return nullptr;
}

ReaderDescriptor* CFpapiShim::FindReaderTraced(CTraceScope& scope, ridgex_handle dev) {
    TraceHandle(scope, dev);
    ReaderDescriptor* reader = FindReader(dev);
    if (reader == nullptr) {
        scope.Message("reader not found");
    }
    return reader;
}

void CFpapiShim::DrainIdleReaders() {
    for (;;) {
        bool drained = false;
        bool close_one = false;
        uint64_t to_close = 0;
        {
            scoped_lock_t hold(lock_);
            for (uint64_t i = 0; i < readers_.count && !close_one; ++i) {
                ReaderDescriptor* reader = readers_.items[i];
                if (reader->capture_running) {
                    continue;
                }
                ReaderEvent* event = nullptr;
                while (!close_one && reader->events.Pop(event)) {
                    if (event->type == EVENT_DISCONNECTED) {
                        close_one = true;
                        to_close = reader->handle;
                    }
                    FreeReaderEvent(event);
                    drained = true;
                }
                reader->event_signal.Reset();
            }
        }
        if (close_one) {
            Close(reinterpret_cast<ridgex_handle>(to_close));
        }
        if (!drained) {
            return;
        }
        platform::sleep_ms(0);
    }
}

ridgex_result CFpapiShim::Open(const char* dev_name, ridgex_handle* pdev) {
    CTraceScope scope("CFpapiShim::Open", 0);
    return OpenExt(dev_name, RIDGEX_PRIORITY_EXCLUSIVE, pdev);
}

ridgex_result CFpapiShim::OpenExt(const char* dev_name, uint32_t prio, ridgex_handle* pdev) {
    CTraceScope scope("CFpapiShim::OpenExt", 0);
    ridgex_result status = RIDGEX_SUCCESS;
    uint8_t device_id[16] = {};
    if (dev_name == nullptr || pdev == nullptr) {
        status = RIDGEX_E_INVALID_PARAMETER;
    } else {
        scope.Message("name: %s", dev_name);
        // The identifier is the GUID behind the last brace; a name without
        // one, or with a malformed one, leaves it zero.
        if (const char* brace = std::strrchr(dev_name, '{')) {
            platform::guid_from_text(brace, device_id);
        }
        if (AllZero(device_id, sizeof(device_id))) {
            status = RIDGEX_E_INVALID_DEVICE;
        }
    }
    if (prio != RIDGEX_PRIORITY_SHARED && prio != RIDGEX_PRIORITY_EXCLUSIVE) {
        status = RIDGEX_E_INVALID_PARAMETER;
    }
    if (pdev != nullptr) {
        *pdev = nullptr;
    }
    if (status != RIDGEX_SUCCESS) {
        return ShimFailure(scope, status);
    }

    scoped_lock_t hold(lock_);
    DrainIdleReaders();
    auto* reader = new (std::nothrow) ReaderDescriptor;
    if (reader == nullptr || !readers_.Insert(readers_.count)) {
        delete reader;
        scope.Message("cannot add reader to the array");
        return ShimFailure(scope, static_cast<ridgex_result>(tavlo::kOutOfMemory));
    }
    readers_.items[readers_.count - 1] = reader;

    if (GetDeviceInfo(device_id, reader->pDeviceInfo, &reader->geometry) != RIDGEX_SUCCESS) {
        scope.Message("reader already disappeared or malfunctioning (2)");
        status = RIDGEX_E_INVALID_PARAMETER;
    } else {
        reader->handle = next_handle_++;
        std::memcpy(reader->device_id, device_id, sizeof(device_id));
        reader->priority = prio;
        scope.Message("new reader opened, priority: %d, handle: 0x%x", prio,
                      static_cast<uint32_t>(reader->handle));
        GetDeviceCaps(device_id, reader->pCaps, reader->geometry);
        *pdev = reinterpret_cast<ridgex_handle>(reader->handle);
        ApplyModelTable(*reader);

        const int32_t code = AcquisitionStart(prio, reader->device_id, &reader->acquisition);
        if (code == tavlo::kAccessDenied) {
            scope.Message("likely reader already opened with exclusive priority");
            status = RIDGEX_E_DEVICE_BUSY;
        } else if (code < 0) {
            scope.Message("reader already disappeared or malfunctioning (1)");
            status = RIDGEX_E_DEVICE_FAILURE;
        }
    }
    if (status != RIDGEX_SUCCESS) {
        TakeOut(readers_, reader);
        delete reader;
        return ShimFailure(scope, status);
    }
    return RIDGEX_SUCCESS;
}

ridgex_result CFpapiShim::Close(ridgex_handle dev) {
    CTraceScope scope("CFpapiShim::Close", 0);
    scoped_lock_t hold(lock_);
    DrainIdleReaders();
    if (FindReader(dev) == nullptr) {
        scope.Message("reader not found");
        return ShimFailure(scope, RIDGEX_E_INVALID_DEVICE);
    }
    // Cancel and SetParameter sweep the table themselves and may close other
    // readers, or this one if it has just disconnected: each step below
    // finds the reader again by its handle.
    Cancel(dev);
    if (ReaderDescriptor* reader = FindReader(dev);
        reader != nullptr && reader->priority == RIDGEX_PRIORITY_EXCLUSIVE) {
        if (reader->processing != 0) {
            const uint32_t none = 0;
            tavlo::SendParameter(reader->device_id, tavlo::TAVLO_PARAM_IMAGE_PROCESSING, &none,
                                 sizeof(none));
        }
        if (reader->leds_configured) {
            tavlo::SendParameter(reader->device_id, tavlo::TAVLO_PARAM_LED_CONFIG, kLedsAtClose,
                                 sizeof(kLedsAtClose));
        }
        uint32_t one = 1;
        SetParameter(dev, RIDGEX_PARMID_LOWER_107, sizeof(one), reinterpret_cast<uint8_t*>(&one));
    }
    ReaderDescriptor* reader = FindReader(dev);
    if (reader == nullptr) {
        return RIDGEX_SUCCESS;  // a nested sweep closed it already
    }
    AcquisitionStop(reader->acquisition);
    scope.Message("reader closed, name: %s", reader->pDeviceInfo->name);
    reader = FindReader(dev);
    if (reader != nullptr) {
        TakeOut(readers_, reader);
        // A capture that still waits on another thread uses the descriptor
        // until it ends, and frees it then.
        if (reader->capture_running) {
            reader->closed_while_capturing = true;
        } else {
            delete reader;
        }
    }
    return RIDGEX_SUCCESS;
}

ridgex_result CFpapiShim::GetStatus(ridgex_handle dev, ridgex_device_status* dev_status) {
    CTraceScope scope("CFpapiShim::GetStatus", 0);
    scoped_lock_t hold(lock_);
    DrainIdleReaders();
    if (dev == nullptr) {
        return ShimFailure(scope, RIDGEX_E_INVALID_PARAMETER);
    }
    const ReaderDescriptor* reader = FindReaderTraced(scope, dev);
    if (reader == nullptr) {
        return ShimFailure(scope, RIDGEX_E_INVALID_DEVICE);
    }
    ridgex_device_status status{};
    status.size = sizeof(status);
    tavlo::TavloParameter parameter{sizeof(status), 0, &status};
    // A reader library that cannot tell is a failure of the reader: the
    // record stays unwritten, and the caller must not read it.
    const int32_t code =
        tavlo::GetDeviceParameter(reader->device_id, tavlo::TAVLO_PARAM_STATUS, &parameter);
    if (code < 0) {
        scope.Message("cannot get reader status, error: 0x%x", static_cast<uint32_t>(code));
        return ShimFailure(scope, RIDGEX_E_DEVICE_FAILURE);
    }
    // Busy means a capture of this backend, whatever the reader library says.
    status.status = reader->capture_running ? RIDGEX_STATUS_BUSY : RIDGEX_STATUS_READY;
    std::memcpy(dev_status, &status, sizeof(status));
    scope.Message("status: %d, finger: %d", status.status, status.finger_detected);
    return RIDGEX_SUCCESS;
}

ridgex_result CFpapiShim::GetCapabilities(ridgex_handle dev, ridgex_device_caps* dev_caps) {
    CTraceScope scope("CFpapiShim::GetCapabilities", 0);
    scoped_lock_t hold(lock_);
    DrainIdleReaders();
    if (dev_caps == nullptr || dev == nullptr) {
        return ShimFailure(scope, RIDGEX_E_INVALID_PARAMETER);
    }
    const ReaderDescriptor* reader = FindReaderTraced(scope, dev);
    if (reader == nullptr) {
        return ShimFailure(scope, RIDGEX_E_INVALID_DEVICE);
    }
    const ridgex_device_caps& caps = *reader->pCaps;
    if (dev_caps->size < caps.size) {
        dev_caps->size = caps.size;
        return RIDGEX_E_MORE_DATA;
    }
    std::memcpy(dev_caps, &caps, RIDGEX_DEVICE_CAPS_FIXED_SIZE);
    std::memcpy(dev_caps->resolutions, caps.resolutions,
                caps.resolution_cnt * sizeof(caps.resolutions[0]));
    return RIDGEX_SUCCESS;
}
