// LEDs and parameters of an open reader. Only Close and the liveness check
// reach the parameters; the public parameter calls stop in the aggregator.
#include <cstring>

#include "shim/fpapi_shim.h"
#include "shim/shim_failure.h"
#include "shim/tavlo_api.h"

using SlvTraceNS::CTraceScope;

namespace {

// Checks an LED request; true if it is to reach the reader library, else
// `*status` holds the answer.
bool LedRequestGoesOut(CTraceScope& scope, const ReaderDescriptor* reader, uint32_t led_id,
                       ridgex_result* status) {
    if (reader == nullptr) {
        *status = ShimFailure(scope, RIDGEX_E_INVALID_DEVICE, "cannot find reader");
        return false;
    }
    // The LEDs belong to whoever holds the reader exclusively.
    if (reader->priority != RIDGEX_PRIORITY_EXCLUSIVE) {
        *status = ShimFailure(scope, RIDGEX_E_DEVICE_BUSY);
        return false;
    }
    // A request for LEDs the reader does not have is quietly done.
    *status = RIDGEX_SUCCESS;
    return (led_id & reader->pCaps->led_mask) != 0;
}

// The answer of the reader library is not the caller's business.
void SendLedWords(const ReaderDescriptor& reader, uint32_t parm, uint32_t first, uint32_t second) {
    const uint32_t words[2] = {first, second};
    tavlo::SendParameter(reader.device_id, parm, words, sizeof(words));
}

}  // namespace

ridgex_result CFpapiShim::LedConfig(ridgex_handle dev, uint32_t led_id, uint32_t led_mode, void*) {
    CTraceScope scope("CFpapiShim::LedConfig", 0);
    scoped_lock_t hold(lock_);
    ReaderDescriptor* reader = FindReader(dev);
    ridgex_result status;
    if (LedRequestGoesOut(scope, reader, led_id, &status)) {
        // Close puts configured LEDs back as the reader library keeps them.
        reader->leds_configured = true;
        SendLedWords(*reader, tavlo::TAVLO_PARAM_LED_CONFIG, led_id, led_mode);
    }
    return status;
}

ridgex_result CFpapiShim::LedCtrl(ridgex_handle dev, uint32_t led_id, uint32_t led_cmd) {
    CTraceScope scope("CFpapiShim::LedCtrl", 0);
    scoped_lock_t hold(lock_);
    const ReaderDescriptor* reader = FindReader(dev);
    ridgex_result status;
    if (LedRequestGoesOut(scope, reader, led_id, &status)) {
        SendLedWords(*reader, tavlo::TAVLO_PARAM_LED_CONTROL, led_id, led_cmd);
    }
    return status;
}

ridgex_result CFpapiShim::SetParameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                       uint8_t* buffer) {
    CTraceScope scope("CFpapiShim::SetParameter", 0);
    scoped_lock_t hold(lock_);
    DrainIdleReaders();
    ReaderDescriptor* reader = FindReader(dev);
    if (reader == nullptr) {
        return ShimFailure(scope, RIDGEX_E_INVALID_DEVICE, "cannot find reader");
    }
    if (parm_id == RIDGEX_PARMID_ROTATE) {
        if (size == 0) {
            return RIDGEX_E_INVALID_PARAMETER;
        }
        // The turn happens in the capture; the reader library is not told.
        reader->rotate_requested = buffer[0] != 0;
        return RIDGEX_SUCCESS;
    }
    const bool lower_107 = parm_id == RIDGEX_PARMID_LOWER_107;
    if (lower_107 && !reader->has_parm_f003) {
        return RIDGEX_SUCCESS;
    }
    tavlo::TavloParameter parameter{size, 0, buffer};
    const int32_t code = tavlo::SetDeviceParameter(
        reader->device_id, lower_107 ? tavlo::TAVLO_PARAM_F003 : parm_id, &parameter);
    if (code < 0) {
        return ShimFailure(scope, static_cast<ridgex_result>(code));
    }
    return RIDGEX_SUCCESS;
}

ridgex_result CFpapiShim::GetParameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                       uint8_t* buffer) {
    CTraceScope scope("CFpapiShim::GetParameter", 0);
    scoped_lock_t hold(lock_);
    DrainIdleReaders();
    const ReaderDescriptor* reader = FindReader(dev);
    if (reader == nullptr) {
        return ShimFailure(scope, RIDGEX_E_INVALID_DEVICE, "cannot find reader");
    }
    switch (parm_id) {
        case RIDGEX_PARMID_ROTATE:
            if (size == 0) {
                return RIDGEX_E_INVALID_PARAMETER;
            }
            buffer[0] = reader->rotate_requested ? 1 : 0;
            return RIDGEX_SUCCESS;
        case RIDGEX_PARMID_LOWER_107:
            if (reader->has_parm_f003) {
                tavlo::TavloParameter parameter{size, 0, buffer};
                const int32_t code = tavlo::GetDeviceParameter(reader->device_id,
                                                               tavlo::TAVLO_PARAM_F003, &parameter);
                if (code < 0) {
                    return ShimFailure(scope, static_cast<ridgex_result>(code));
                }
            }
            return RIDGEX_SUCCESS;
        case RIDGEX_PARMID_READER_GUID:
            // Only readers sold under the Kestrix number reveal their identifier.
            if (reader->pDeviceInfo->vid != kKestrixVid || size < sizeof(reader->device_id)) {
                return RIDGEX_E_INVALID_PARAMETER;
            }
            std::memcpy(buffer, reader->device_id, sizeof(reader->device_id));
            return RIDGEX_SUCCESS;
        default:
            return RIDGEX_SUCCESS;
    }
}
