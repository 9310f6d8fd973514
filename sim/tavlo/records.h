// The byte layouts that the reader library hands out: the device info
// record, the blocks of TavloGetDeviceInfoEx, the image record and the
// reports of an acquisition. Integers are little-endian.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "reader_config.h"

namespace tavlo_sim {

constexpr size_t device_info_size = 832;

// Fills the 832 bytes of TavloDeviceInfo; texts are cut to 127 UTF-16
// units and end with a NUL unit.
void write_device_info(const reader_config& reader, uint8_t* info);

// The block of a TavloGetDeviceInfoEx selector (1, 2, 4 or 102); empty for
// any other selector.
std::vector<uint8_t> device_info_block(const reader_config& reader, uint32_t selector);

// A TavloImage with the reader's synthetic fingerprint.
std::vector<uint8_t> image_record(const reader_config& reader);

// One report of an acquisition before it is laid out for the callback.
struct report {
    struct param {
        uint32_t id = 0;
        uint32_t value = 0;
        bool carries_block = false;  // the block pointer points at `block`
    };
    uint32_t group = 0;
    uint32_t type = 0;
    std::array<uint8_t, 16> device_id{};  // all zero: every reader
    std::vector<param> params;
    std::vector<uint8_t> block;
};

// The reports that the library sends.
report event_report(const std::array<uint8_t, 16>& device_id, uint32_t group, uint32_t type);
report image_report(const std::array<uint8_t, 16>& device_id, std::vector<uint8_t> record);
report quality_report(const std::array<uint8_t, 16>& device_id, uint32_t code);
report stop_report(const std::array<uint8_t, 16>& device_id);

// A report as the callback receives it: the header, and the array of
// 32-byte parameters whose block pointers point into the report, which
// must outlive the layout.
struct report_layout {
    std::array<uint8_t, 0x40> header{};
    std::vector<uint8_t> params;
    uint32_t param_count = 0;
};
report_layout lay_out(const report& message);

}  // namespace tavlo_sim
