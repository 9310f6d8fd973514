// A backend of one reader for the liveness tests.
#pragma once

#include <cstring>
#include <vector>

#include "backend/backend.h"

// The backend of one reader: answers parameter 771 with a sensor code and
// serves a pad image with the two-call buffer rule, recording what it was
// asked.
class fake_backend : public ridgex_dll_t {
  public:
    uint32_t sensor_code = 0x66000026;
    ridgex_result parameter_status = RIDGEX_SUCCESS;
    std::vector<uint8_t> pad;
    // Answers of the first and the second pad request; MORE_DATA and 0 are
    // what a backend with pad images gives.
    ridgex_result first_pad_status = RIDGEX_E_MORE_DATA;
    ridgex_result second_pad_status = RIDGEX_SUCCESS;

    int parameter_calls = 0;
    int pad_calls = 0;
    ridgex_handle last_handle = 0;
    uint32_t last_parm_id = 0;
    uint32_t last_parm_size = 0;
    uint32_t last_pad_format = 0;

    ridgex_result GetParameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                               uint8_t* buffer) override {
        ++parameter_calls;
        last_handle = dev;
        last_parm_id = parm_id;
        last_parm_size = size;
        if (parameter_status == RIDGEX_SUCCESS) {
            std::memcpy(buffer + 32, &sensor_code, sizeof(sensor_code));
        }
        return parameter_status;
    }

    ridgex_result GetPadImage(ridgex_handle dev, uint32_t pad_format, uint32_t*, uint32_t*,
                              ridgex_image_info*, uint32_t* image_size,
                              uint8_t* image_data) override {
        ++pad_calls;
        last_handle = dev;
        last_pad_format = pad_format;
        if (image_data == nullptr) {
            *image_size = static_cast<uint32_t>(pad.size());
            return first_pad_status;
        }
        if (second_pad_status == RIDGEX_SUCCESS) {
            std::memcpy(image_data, pad.data(), pad.size());
        }
        return second_pad_status;
    }
};
