// The two parameter operations, which never reach a backend: parameter 512
// switches the liveness check of one reader, and every other identifier
// sets or reads the one false accept rate of the library.
#include <string_view>

#include "aggregator/reader_frame.h"
#include "base/call_depth.h"
#include "liveness/spoof_detector.h"

namespace {

// Readers of the built-in backend have no pad images to score.
bool HasNoScoring(const AGGREGATOR_DEVICE_CONTEXT& context) {
    return std::string_view(backend_names[context.lib_index]) == kShimSlotName;
}

// Only one byte is ever read or written, whatever `size` says.
bool HasByte(uint32_t size, const uint8_t* buffer) {
    return size != 0 && buffer != nullptr;
}

ridgex_result SwitchLiveness(ridgex_handle dev, AGGREGATOR_DEVICE_CONTEXT& context, bool wish) {
    handle_set_t& list = CLibAggregator::LivenessList();
    SpoofDetector& detector = SpoofDetector::Instance();
    // One model serves every listed reader; a new one comes only with the
    // first reader of an empty list.
    if (wish && list.Empty()) {
        if (detector.isInitialized()) {
            detector.destroy();
        }
        detector.setCurrentName(context.name);
        const ridgex_result status = detector.init(context);
        if (status != RIDGEX_SUCCESS) {
            return status;
        }
    }
    if (list.Contains(dev)) {
        if (!wish) {
            list.Remove(dev);
            if (list.Empty()) {
                detector.destroy();
            }
        }
        return RIDGEX_SUCCESS;
    }
    if (!wish) {
        if (list.Empty()) {
            detector.destroy();
        }
        return RIDGEX_SUCCESS;
    }
    if (!list.Add(dev)) {
        // The list stands as before; a scorer started for it alone goes
        // again, so that scoring is off exactly when the list is empty.
        if (list.Empty()) {
            detector.destroy();
        }
        return RIDGEX_E_NO_MEMORY;
    }
    return RIDGEX_SUCCESS;
}

// Both parameter operations on an open reader, once the byte may be
// touched: the liveness switch exists only where pad images can be scored.
template <typename Work>
ridgex_result OnParameter(ridgex_handle dev, uint32_t parm_id, uint32_t size, const uint8_t* buffer,
                          Work work) {
    return OnOpenReader(dev, [&](AGGREGATOR_DEVICE_CONTEXT& context) -> ridgex_result {
        if (parm_id == RIDGEX_PARMID_PAD_ENABLE && HasNoScoring(context)) {
            return RIDGEX_E_NOT_IMPLEMENTED;
        }
        if (!HasByte(size, buffer)) {
            return RIDGEX_E_INVALID_PARAMETER;
        }
        return work(context);
    });
}

}  // namespace

ridgex_result CLibAggregator::SetParameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                           uint8_t* buffer) {
    return OnParameter(dev, parm_id, size, buffer, [&](AGGREGATOR_DEVICE_CONTEXT& context) {
        if (parm_id == RIDGEX_PARMID_PAD_ENABLE) {
            return SwitchLiveness(dev, context, buffer[0] != 0);
        }
        // One global rate, whichever reader's handle carried it.
        SpoofDetector::Instance().setFar(buffer[0]);
        return RIDGEX_SUCCESS;
    });
}

ridgex_result CLibAggregator::GetParameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                           uint8_t* buffer) {
    return OnParameter(dev, parm_id, size, buffer, [&](AGGREGATOR_DEVICE_CONTEXT&) {
        if (parm_id == RIDGEX_PARMID_PAD_ENABLE) {
            buffer[0] = LivenessList().Contains(dev) ? 1 : 0;
        } else {
            buffer[0] = SpoofDetector::Instance().getFar();
        }
        return RIDGEX_SUCCESS;
    });
}

void CLibAggregator::ForgetLiveness(ridgex_handle dev) {
    liveness_list_.Remove(dev);
    // Also when the list was empty before and the reader had nothing to do
    // with scoring. A handler that interrupted the library may have
    // interrupted the scoring itself: the next call outside releases.
    if (liveness_list_.Empty()) {
        if (call_depth::Interrupting()) {
            LeavePending();
        } else {
            SpoofDetector::Instance().Release();
        }
    }
}
