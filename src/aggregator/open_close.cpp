// Opening a reader by its prefixed name, or the first reader any backend
// offers, and closing it.
#include <cstring>

#include "aggregator/lib_aggregator.h"
#include "trace/trace_scope.h"

using SlvTraceNS::CTraceScope;

namespace {

// The slot of a "$NN$" prefix. The digits are not checked: "$ab$" gives a
// number out of range, which the caller refuses. Any other form is slot 0.
int32_t PrefixSlot(const char* dev_name) {
    if (dev_name[0] == '$' && dev_name[3] == '$') {
        const auto c1 = static_cast<int8_t>(dev_name[1]);
        const auto c2 = static_cast<int8_t>(dev_name[2]);
        return 10 * (c1 - 48) + (c2 - 48);
    }
    return 0;
}

}  // namespace

ridgex_result CLibAggregator::OpenDevice(const char* dev_name, uint32_t prio, ridgex_handle* pdev) {
    CTraceScope scope("CLibAggregator::OpenDevice", 0);
    if (!IsInitialized()) {
        return RIDGEX_E_FAILURE;
    }
    if (pdev == nullptr) {
        return RIDGEX_E_INVALID_PARAMETER;
    }

    uint32_t slot = 0;
    ridgex_dll_t* backend = nullptr;
    if (dev_name != nullptr) {
        if (std::strlen(dev_name) < 4) {
            return RIDGEX_E_INVALID_PARAMETER;
        }
        const int32_t number = PrefixSlot(dev_name);
        scope.Message("lib %d", number);
        slot = static_cast<uint32_t>(number);
        if (slot >= kBackendSlotCount) {
            return RIDGEX_E_INVALID_PARAMETER;
        }
        backend = Backend(slot);
        if (!backend->IsLoaded()) {
            return RIDGEX_E_INVALID_PARAMETER;
        }
        // The first four characters go, prefix or not.
        const ridgex_result status = backend->OpenExt(dev_name + 4, prio, pdev);
        if (status != RIDGEX_SUCCESS) {
            return status;
        }
    } else {
        ridgex_result status = RIDGEX_E_INVALID_PARAMETER;
        for (slot = 0; slot < kBackendSlotCount; ++slot) {
            backend = Backend(slot);
            if (!backend->IsLoaded()) {
                continue;
            }
            status = backend->OpenExt(nullptr, prio, pdev);
            if (status != RIDGEX_E_INVALID_PARAMETER) {
                break;
            }
        }
        if (status != RIDGEX_SUCCESS) {
            return status;
        }
    }

    const ridgex_result status =
        AddContext(dev_name != nullptr ? dev_name : "", pdev, slot, backend);
    if (status != RIDGEX_SUCCESS) {
        backend->Close(*pdev);
        *pdev = nullptr;
    }
    return status;
}

ridgex_result CLibAggregator::CloseDevice(ridgex_handle dev) {
    CTraceScope scope("CLibAggregator::CloseDevice", 0);
    if (!IsInitialized()) {
        return RIDGEX_E_FAILURE;
    }
    const ridgex_result status = Cancel(dev);
    {
        CTraceScope pipe("CLibAggregator::ClosePipe", 0);
        AGGREGATOR_DEVICE_CONTEXT* context = RecordOf(dev);
        if (context != nullptr && context->open_reference.exchange(false)) {
            RelRef(context);
        }
    }
    ForgetLiveness(dev);
    return status;
}
