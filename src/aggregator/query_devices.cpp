// One flat list of the readers of all live backends, each name marked with
// the slot it came from.
#include <cstdio>
#include <cstring>

#include "aggregator/lib_aggregator.h"
#include "liveness/spoof_detector.h"
#include "trace/trace_scope.h"

using SlvTraceNS::CTraceScope;

namespace {

constexpr size_t kPrefixLength = 4;
constexpr size_t kNameSize = sizeof(ridgex_device_info::name);

bool HasPrefixForm(const char* name) {
    return name[0] == '$' && name[3] == '$';
}

// Puts the slot's prefix in front of a backend's own name; the name's last
// four bytes give way if it fills the field.
void PrefixName(char* name, const char* prefix) {
    std::memmove(name + kPrefixLength, name, kNameSize - kPrefixLength);
    name[kNameSize - 1] = '\0';
    std::memcpy(name, prefix, kPrefixLength);
}

// The lower slot keeps a reader that two backends report. Only the first
// reader of the new list is compared, and a match drops the list whole.
bool RepeatsEarlierReader(const ridgex_device_info* listed, uint32_t total,
                          const ridgex_device_info& first) {
    for (uint32_t i = 0; i < total; ++i) {
        if (listed[i].vid == first.vid && (listed[i].pid == 0 || listed[i].pid == first.pid)) {
            return true;
        }
    }
    return false;
}

}  // namespace

ridgex_result CLibAggregator::QueryDevices(uint32_t* dev_cnt, ridgex_device_info* dev_infos) {
    CTraceScope scope("CLibAggregator::QueryDevices", 0);
    if (!IsInitialized()) {
        return RIDGEX_E_FAILURE;
    }
    if (dev_cnt == nullptr) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    const uint32_t asked = *dev_cnt;
    uint32_t room = asked;
    uint32_t total = 0;
    for (uint32_t slot = 0; slot < kBackendSlotCount; ++slot) {
        ridgex_dll_t* backend = Backend(slot);
        if (!backend->IsLoaded()) {
            continue;
        }
        char prefix[kPrefixLength + 1];
        std::snprintf(prefix, sizeof(prefix), "$%02u$", slot);
        scope.Message("Library: %s - %s", backend_names[slot], prefix);

        uint32_t count = room;
        ridgex_device_info* entry = nullptr;
        if (dev_infos != nullptr && room != 0) {
            entry = &dev_infos[asked - room];
            entry->size = sizeof(ridgex_device_info);
        }
        const ridgex_result status = backend->QueryDevices(&count, entry);
        if (slot != 0 && entry != nullptr && count != 0 && total != 0 &&
            RepeatsEarlierReader(dev_infos, total, *entry)) {
            continue;
        }
        if (status != RIDGEX_SUCCESS && status != RIDGEX_E_MORE_DATA) {
            continue;
        }
        total += count;
        if (entry == nullptr || count == 0) {
            continue;
        }
        for (uint32_t k = 0; k < count && room != 0; ++k, --room) {
            ridgex_device_info& delivered = entry[k];
            if (!HasPrefixForm(delivered.name)) {
                PrefixName(delivered.name, prefix);
                scope.Message("name %s", delivered.name);
            }
            SpoofDetector::Instance().updateDevicesInfo(delivered);
        }
    }
    *dev_cnt = total;
    return total > asked ? RIDGEX_E_MORE_DATA : RIDGEX_SUCCESS;
}
