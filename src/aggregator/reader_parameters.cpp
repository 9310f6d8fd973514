// The two parameter operations, which never reach a backend: parameter 512
// switches the liveness check of one reader, and every other identifier
// sets or reads the one false accept rate of the library.
#include <string_view>

#include "aggregator/reader_frame.h"
#include "liveness/spoof_detector.h"

namespace {

using liveness_list_t = vector_t<void*, 10>;

// Readers of the built-in backend have no pad images to score.
bool HasNoScoring(const AGGREGATOR_DEVICE_CONTEXT& context) {
    return std::string_view(backend_names[context.lib_index]) == kShimSlotName;
}

// Only one byte is ever read or written, whatever `size` says.
bool HasByte(uint32_t size, const uint8_t* buffer) {
    return size != 0 && buffer != nullptr;
}

// The position of `dev` in the list, or the list's count.
uint64_t Find(const liveness_list_t& list, ridgex_handle dev) {
    uint64_t position = 0;
    while (position < list.count && list.items[position] != dev) {
        ++position;
    }
    return position;
}

ridgex_result SwitchLiveness(ridgex_handle dev, AGGREGATOR_DEVICE_CONTEXT& context, bool wish) {
    liveness_list_t& list = CLibAggregator::LivenessList();
    SpoofDetector& detector = SpoofDetector::Instance();
    // One model serves every listed reader; a new one comes only with the
    // first reader of an empty list.
    if (wish && list.count == 0) {
        if (detector.isInitialized()) {
            detector.destroy();
        }
        detector.setCurrentName(context.name);
        const ridgex_result status = detector.init(context);
        if (status != RIDGEX_SUCCESS) {
            return status;
        }
    }
    const uint64_t position = Find(list, dev);
    if (position < list.count) {
        if (!wish) {
            list.Remove(position);
            if (list.count == 0) {
                detector.destroy();
            }
        }
        return RIDGEX_SUCCESS;
    }
    if (!wish) {
        if (list.count == 0) {
            detector.destroy();
        }
        return RIDGEX_SUCCESS;
    }
    if (!list.Insert(list.count)) {
        // The list stands as before; a scorer started for it alone goes
        // again, so that scoring is off exactly when the list is empty.
        if (list.count == 0) {
            detector.destroy();
        }
        return RIDGEX_E_NO_MEMORY;
    }
    list.items[list.count - 1] = dev;
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
            const liveness_list_t& list = LivenessList();
            buffer[0] = Find(list, dev) < list.count ? 1 : 0;
        } else {
            buffer[0] = SpoofDetector::Instance().getFar();
        }
        return RIDGEX_SUCCESS;
    });
}

void CLibAggregator::ForgetLiveness(ridgex_handle dev) {
    liveness_list_t& list = LivenessList();
    list.Remove(Find(list, dev));
    // Also when the list was empty before and the reader had nothing to do
    // with scoring.
    if (list.count == 0) {
        SpoofDetector::Instance().destroy();
    }
}
