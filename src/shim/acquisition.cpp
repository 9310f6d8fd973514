// Acquisitions of the reader library, and the callback through which they
// report: each report becomes a ReaderEvent in the queue of every reader it
// concerns.
//
// Stops and destroys run under the shim's lock, and the reader library may
// wait in them for a running callback of that acquisition to return. So a
// callback never waits for the lock without bound: while a stop is under
// way, a report for the reader being stopped (or for every reader) that
// cannot get the lock is dropped with a "!!! " line. Reports for other
// readers wait.
//
// The callback runs on the reader library's own thread. It must never throw,
// crash or hold that thread for long: events come from the seam's
// allocation (realloc of null, freed by FreeReaderEvent), and an event whose
// memory cannot be had is dropped with a "!!! " line. Its readers are woken
// all the same, as for an event that a full queue drops: the reader did
// report, so a capture's quiet time starts again, and it finds nothing new.
#include <cstring>

#include "base/boundary.h"
#include "platform/memory.h"
#include "shim/fpapi_shim.h"
#include "shim/shim_failure.h"
#include "shim/tavlo_api.h"

using SlvTraceNS::CTraceScope;

namespace {

constexpr uint32_t kStopWaitMs = 500;
// How often a callback that waits for the lock looks whether a stop waits
// for it in turn.
constexpr uint32_t kDeliveryRetryMs = 10;

// Report groups and the types and parameter ids that the shim reads.
constexpr uint32_t kGroupDevice = 1;
constexpr uint32_t kGroupFinger = 2;
constexpr uint32_t kGroupResult = 3;
constexpr uint32_t kGroupOperation = 4;
constexpr uint32_t kParamImageFollows = 4;
constexpr uint32_t kParamImageBlock = 2;
constexpr uint32_t kParamQuality = 5;

// Field offsets of the library's report header and of its 32-byte
// parameters; both are only valid during the callback.
constexpr size_t kHeaderGroup = 0x18;
constexpr size_t kHeaderType = 0x1C;
constexpr size_t kHeaderDeviceId = 0x24;
constexpr size_t kParamSize = 32;
constexpr size_t kParamId = 0x00;
constexpr size_t kParamValue = 0x10;
constexpr size_t kParamBlock = 0x18;

uint32_t ReadU32(const void* base, size_t offset) {
    uint32_t value;
    std::memcpy(&value, static_cast<const uint8_t*>(base) + offset, sizeof(value));
    return value;
}

uint32_t ParamU32(const void* params, uint32_t index, size_t field) {
    return ReadU32(params, index * kParamSize + field);
}

const void* ParamBlock(const void* params, uint32_t index) {
    const void* block;
    std::memcpy(&block, static_cast<const uint8_t*>(params) + index * kParamSize + kParamBlock,
                sizeof(block));
    return block;
}

// What one report means for the readers: an event type (0 for none) and the
// bytes that the event carries, still in the library's memory.
struct report_t {
    uint32_t type = 0;
    const void* data = nullptr;
    uint64_t size = 0;
};

// A new event with its own copy of `size` bytes at `data`; null when the
// memory cannot be had.
ReaderEvent* NewEvent(uint32_t type, const void* data, uint64_t size) {
    auto* event = static_cast<ReaderEvent*>(platform::reallocate(nullptr, sizeof(ReaderEvent)));
    if (event == nullptr) {
        return nullptr;
    }
    *event = ReaderEvent{type, size, nullptr};
    if (size != 0) {
        event->data = platform::reallocate(nullptr, size);
        if (event->data == nullptr) {
            platform::release(event);
            return nullptr;
        }
        std::memcpy(event->data, data, size);
    }
    return event;
}

}  // namespace

int32_t CFpapiShim::AcquisitionStart(uint32_t priority, const uint8_t* device_id,
                                     uint32_t* acquisition) {
    CTraceScope scope("CFpapiShim::AcquisitionStart", 0);
    // A handle that AcquisitionStop left behind has been destroyed already.
    uint32_t created = 0;
    int32_t code = tavlo::CreateAcquisitionWithCallback(
        priority, device_id, tavlo::kAcquisitionKind, AcquisitionCallbackEntry, this, &created);
    if (code < 0) {
        scope.Message("cannot create acquisition, error: 0x%x", static_cast<uint32_t>(code));
        created = 0;
    } else {
        code = tavlo::StartAcquisition(created);
        if (code < 0) {
            scope.Message("cannot start acquisition, error: 0x%x", static_cast<uint32_t>(code));
            tavlo::DestroyAcquisition(created);
            created = 0;
        }
    }
    *acquisition = created;
    scope.Result("", static_cast<uint32_t>(code));
    return code;
}

void CFpapiShim::NoteStopping(const uint8_t* device_id) {
    uint64_t halves[2] = {};
    if (device_id != nullptr) {
        std::memcpy(halves, device_id, sizeof(halves));
    }
    stopping_id_[0] = halves[0];
    stopping_id_[1] = halves[1];
}

bool CFpapiShim::StopWaitsFor(const uint8_t* device_id) const {
    uint64_t halves[2];
    std::memcpy(halves, device_id, sizeof(halves));
    const uint64_t stopping[2] = {stopping_id_[0], stopping_id_[1]};
    if (stopping[0] == 0 && stopping[1] == 0) {
        return false;
    }
    // A report for every reader concerns the stopped one too.
    return (halves[0] == 0 && halves[1] == 0) ||
           (halves[0] == stopping[0] && halves[1] == stopping[1]);
}

void CFpapiShim::AcquisitionStop(uint32_t acquisition) {
    CTraceScope scope("CFpapiShim::AcquisitionStop", 0);
    for (uint64_t i = 0; i < readers_.count; ++i) {
        if (readers_.items[i]->acquisition == acquisition) {
            NoteStopping(readers_.items[i]->device_id);
            break;
        }
    }
    stopped_signal_.Reset();
    const int32_t code = tavlo::StopAcquisition(acquisition);
    // The stop report comes without the lock that our caller holds.
    if (code >= 0 || code == tavlo::kIoPending) {
        signal_t* signals[] = {&stopped_signal_};
        const int32_t woken = wait_signal(1, signals, kStopWaitMs);
        if (woken != 0) {
            scope.Message("no Operation Stopped signal, wait result: 0x%x",
                          static_cast<uint32_t>(woken));
        }
    } else {
        scope.Message("cannot stop acquisition, error: 0x%x", static_cast<uint32_t>(code));
    }
    const int32_t destroyed = tavlo::DestroyAcquisition(acquisition);
    if (destroyed < 0) {
        scope.Message("cannot destroy acquisition, error: 0x%x", static_cast<uint32_t>(destroyed));
    }
    NoteStopping(nullptr);
    scope.Result("", static_cast<uint32_t>(destroyed));
}

uint32_t CFpapiShim::AcquisitionCallbackEntry(void* context, const void* header,
                                              uint32_t param_count, const void* params) {
    // The closed library's thread knows nothing of exceptions.
    if (context != nullptr) {
        AtBoundary([&] {
            static_cast<CFpapiShim*>(context)->_AcquisitionCallback(header, param_count, params);
        });
    }
    return 0;
}

void CFpapiShim::_AcquisitionCallback(const void* header, uint32_t param_count,
                                      const void* params) {
    CTraceScope scope("CFpapiShim::_AcquisitionCallback", 10);
    if (header == nullptr) {
        scope.Message("!!! event header is NULL");
        return;
    }
    const uint32_t group = ReadU32(header, kHeaderGroup);
    const uint32_t type = ReadU32(header, kHeaderType);
    scope.Message("event group: %d, type: %d", group, type);

    // Parameters are read only where the library gave some.
    if (params == nullptr) {
        param_count = 0;
    }
    const void* first_value =
        params != nullptr ? static_cast<const uint8_t*>(params) + kParamValue : nullptr;
    const uint64_t first_value_size = params != nullptr ? 4 : 0;
    report_t report;
    if (group == kGroupDevice) {
        if (type == 102 || type == 103) {
            report.type = EVENT_DISCONNECTED;
        }
    } else if (group == kGroupFinger) {
        if (type == 4) {
            report.type = EVENT_FINGER_ON;
        } else if (type == 7) {
            report.type = EVENT_FINGER_OFF;
        } else if (type == 14) {
            report = {EVENT_QUALITY, first_value, first_value_size};
        }
    } else if (group == kGroupResult && param_count != 0) {
        const uint32_t first = ParamU32(params, 0, kParamId);
        if (first == kParamImageFollows) {
            if (param_count >= 2 && ParamU32(params, 1, kParamId) == kParamImageBlock) {
                const void* block = ParamBlock(params, 1);
                // A report without a block queues an empty image, which the
                // capture refuses as malformed.
                report = {EVENT_IMAGE, block,
                          block != nullptr ? ParamU32(params, 1, kParamValue) : 0u};
            } else {
                // There is no second element to name when only one came.
                scope.Message("unexpected operation result, params count: %d, 2nd param id: %d",
                              param_count, param_count >= 2 ? ParamU32(params, 1, kParamId) : 0u);
            }
        } else if (first == kParamQuality) {
            report = {EVENT_QUALITY, first_value, first_value_size};
        } else {
            scope.Message("unexpected operation event, params count: %d, 1st param id: %d",
                          param_count, first);
        }
    } else if (group == kGroupOperation && (type == 501 || type == 502)) {
        // AcquisitionStop waits for this holding the lock: take none.
        scope.Message("operation stopped");
        stopped_signal_.Set();
        return;
    }
    if (report.type == 0) {
        return;
    }

    uint8_t device_id[16];
    std::memcpy(device_id, static_cast<const uint8_t*>(header) + kHeaderDeviceId,
                sizeof(device_id));
    static constexpr uint8_t kEveryReader[16] = {};
    const bool to_all = std::memcmp(device_id, kEveryReader, sizeof(device_id)) == 0;

    // The library's block is copied before the lock is taken; the first
    // matching reader takes that event, any further one a copy of its own.
    ReaderEvent* prepared = NewEvent(report.type, report.data, report.size);
    bool prepared_taken = false;
    // A stop under the lock may be waiting for this very callback to
    // return: the report for the reader being stopped goes, instead of
    // holding up both.
    while (!lock_.LockFor(kDeliveryRetryMs)) {
        if (StopWaitsFor(device_id)) {
            scope.Message("!!! the reader's acquisition is being stopped; event of type %d dropped",
                          report.type);
            FreeReaderEvent(prepared);
            return;
        }
    }
    for (uint64_t i = 0; i < readers_.count; ++i) {
        ReaderDescriptor& reader = *readers_.items[i];
        if (!to_all && std::memcmp(device_id, reader.device_id, sizeof(device_id)) != 0) {
            continue;
        }
        ReaderEvent* event =
            prepared_taken ? NewEvent(report.type, report.data, report.size) : prepared;
        prepared_taken = true;
        if (event == nullptr) {
            scope.Message("!!! no memory for an event of type %d, %llu bytes, reader 0x%x; dropped",
                          report.type, static_cast<unsigned long long>(report.size),
                          static_cast<uint32_t>(reader.handle));
        } else if (!reader.events.Push(event)) {
            // A full queue loses the newest event.
            FreeReaderEvent(event);
        }
        reader.event_signal.Set();
        if (!to_all) {
            break;
        }
    }
    lock_.Unlock();
    if (!prepared_taken) {
        FreeReaderEvent(prepared);
    }
}
