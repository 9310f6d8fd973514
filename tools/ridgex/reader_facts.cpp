#include "reader_facts.h"

#include <cstring>

ridgex_result ReaderCapabilities(ridgex_handle dev, reader_caps* caps) {
    std::vector<uint8_t> room(sizeof(ridgex_device_caps));
    ridgex_result status = RIDGEX_E_MORE_DATA;
    for (int attempt = 0; attempt < 2 && status == RIDGEX_E_MORE_DATA; ++attempt) {
        auto* record = reinterpret_cast<ridgex_device_caps*>(room.data());
        record->size = static_cast<uint32_t>(room.size());
        status = ridgex_get_device_capabilities(dev, record);
        if (status == RIDGEX_E_MORE_DATA) {
            room.resize(std::max<size_t>(record->size, room.size() + 4));
        }
    }
    if (status != RIDGEX_SUCCESS) {
        return status;
    }
    std::memcpy(&caps->fixed, room.data(), RIDGEX_DEVICE_CAPS_FIXED_SIZE);
    const uint32_t count = std::min<size_t>(caps->fixed.resolution_cnt,
                                            (room.size() - RIDGEX_DEVICE_CAPS_FIXED_SIZE) / 4);
    caps->resolutions.resize(count);
    std::memcpy(caps->resolutions.data(), room.data() + RIDGEX_DEVICE_CAPS_FIXED_SIZE, count * 4);
    return RIDGEX_SUCCESS;
}
