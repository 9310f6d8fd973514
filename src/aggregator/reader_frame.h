// The frame of the operations on an open reader that add little to their
// backend: refused before ridgex_init, refused for an unknown handle, and
// holding one reference for the length of the work.
#pragma once

#include "aggregator/lib_aggregator.h"

template <typename Work>
ridgex_result OnOpenReader(ridgex_handle dev, Work work) {
    if (!CLibAggregator::IsInitialized()) {
        return RIDGEX_E_FAILURE;
    }
    AGGREGATOR_DEVICE_CONTEXT* context = CLibAggregator::IsValid(dev);
    if (context == nullptr) {
        return RIDGEX_E_INVALID_DEVICE;
    }
    const ridgex_result status = work(*context);
    CLibAggregator::RelRef(context);
    return status;
}
