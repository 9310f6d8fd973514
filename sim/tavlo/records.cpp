#include "records.h"

#include <cstring>

#include "fingerprint.h"
#include "platform/utf16.h"

namespace tavlo_sim {
namespace {

constexpr size_t text_units = 128;
constexpr size_t image_header_size = 0x50;

void put_u16(uint8_t* at, uint32_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
}

void put_u32(uint8_t* at, uint32_t value) {
    for (int i = 0; i < 4; ++i) {
        at[i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

void put_text(uint8_t* at, const std::string& text) {
    std::u16string wide;
    platform::utf8_to_utf16(text, &wide);  // checked when the configuration was read
    size_t units = std::min(wide.size(), text_units - 1);
    // Never keep half of a surrogate pair.
    if (units > 0 && wide[units - 1] >= 0xD800 && wide[units - 1] <= 0xDBFF) {
        --units;
    }
    for (size_t i = 0; i < units; ++i) {
        put_u16(at + 2 * i, wide[i]);
    }
}

}  // namespace

void write_device_info(const reader_config& reader, uint8_t* info) {
    std::memset(info, 0, device_info_size);
    std::memcpy(info, reader.id.data(), reader.id.size());
    put_u32(info + 0x14, reader.class_code);
    put_u32(info + 0x18, reader.type_code);
    put_text(info + 0x20, reader.vendor);
    put_text(info + 0x120, reader.product);
    put_text(info + 0x220, reader.serial);
    for (size_t i = 0; i < reader.version_words.size(); ++i) {
        put_u32(info + 0x320 + 4 * i, reader.version_words[i]);
    }
}

std::vector<uint8_t> device_info_block(const reader_config& reader, uint32_t selector) {
    std::vector<uint8_t> block;
    switch (selector) {
        case 1:
            block.resize(0x14);
            put_u32(&block[0x00], reader.cap_word_6);
            put_u32(&block[0x04], reader.cap_word_4);
            put_u32(&block[0x08], reader.cap_word_5);
            put_u32(&block[0x0C], reader.cap_word_1);
            put_u32(&block[0x10], reader.cap_word_3);
            break;
        case 2:
            block.resize(0x08);
            put_u32(&block[0x04], reader.cap_word_8);
            break;
        case 4:
            block.resize(0x08);
            put_u16(&block[0x00], reader.vid);
            put_u16(&block[0x02], reader.pid);
            put_u16(&block[0x04], reader.revision);
            break;
        case 102:
            block.resize(0x18);
            put_u32(&block[0x04], reader.resolution);
            put_u32(&block[0x10], reader.width);
            put_u32(&block[0x14], reader.height);
            break;
        default:
            break;
    }
    return block;
}

std::vector<uint8_t> image_record(const reader_config& reader) {
    const uint32_t width = reader.delivered_width();
    const uint32_t height = reader.delivered_height();
    const uint32_t resolution = reader.delivered_resolution();
    std::vector<uint8_t> record(image_header_size + size_t{width} * height);
    put_u32(&record[0x00], static_cast<uint32_t>(record.size()));
    put_u32(&record[0x28], image_header_size);
    put_u32(&record[0x40], width);
    put_u32(&record[0x44], height);
    put_u32(&record[0x48], resolution);
    sim::render_fingerprint(reader.seed, width, height, resolution, &record[image_header_size]);
    return record;
}

report event_report(const std::array<uint8_t, 16>& device_id, uint32_t group, uint32_t type) {
    report message;
    message.group = group;
    message.type = type;
    message.device_id = device_id;
    return message;
}

report image_report(const std::array<uint8_t, 16>& device_id, std::vector<uint8_t> record) {
    report message = event_report(device_id, 3, 1);
    message.params = {{4, 0, false}, {2, static_cast<uint32_t>(record.size()), true}};
    message.block = std::move(record);
    return message;
}

report quality_report(const std::array<uint8_t, 16>& device_id, uint32_t code) {
    report message = event_report(device_id, 2, 14);
    message.params = {{5, code, false}};
    return message;
}

report stop_report(const std::array<uint8_t, 16>& device_id) {
    return event_report(device_id, 4, 501);
}

report_layout lay_out(const report& message) {
    report_layout layout;
    put_u32(&layout.header[0x00], static_cast<uint32_t>(layout.header.size()));
    put_u32(&layout.header[0x18], message.group);
    put_u32(&layout.header[0x1C], message.type);
    std::memcpy(&layout.header[0x24], message.device_id.data(), message.device_id.size());

    constexpr size_t param_size = 32;
    layout.param_count = static_cast<uint32_t>(message.params.size());
    layout.params.assign(message.params.size() * param_size, 0);
    for (size_t i = 0; i < message.params.size(); ++i) {
        uint8_t* element = &layout.params[i * param_size];
        put_u32(element + 0x00, message.params[i].id);
        put_u32(element + 0x10, message.params[i].value);
        const void* block = message.params[i].carries_block ? message.block.data() : nullptr;
        std::memcpy(element + 0x18, &block, sizeof block);
    }
    return layout;
}

}  // namespace tavlo_sim
