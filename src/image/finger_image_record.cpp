#include "image/finger_image_record.h"

#include <cstring>

#include "image/big_endian.h"

namespace {

constexpr uint32_t kFingerViewHeaderSize = 14;
constexpr uint32_t kCbeffProductId = 0x0033FEFF;  // owner 0x0033, type 0xFEFF
constexpr uint32_t kAcquisitionLevel = 30;
constexpr uint8_t kPixelsPerInch = 1;
constexpr uint8_t kPixelDepth = 8;
constexpr uint8_t kFingerQuality = 75;  // fixed: the reader gives no quality

// The view header is the same in both standards: one view of an unknown
// finger, live-scan plain impression.
void WriteFingerViewHeader(uint32_t pixel_count, uint32_t width, uint32_t height, uint8_t* out) {
    StoreBigEndian32(out, pixel_count + kFingerViewHeaderSize);
    out[4] = 0;  // finger position unknown
    out[5] = 1;  // count of views
    out[6] = 1;  // view number
    out[7] = kFingerQuality;
    out[8] = 0;  // impression type
    StoreBigEndian16(out + 9, width);
    StoreBigEndian16(out + 11, height);
    out[13] = 0;
}

}  // namespace

void WriteRecordHeader(const RecordHeaderFields& fields, uint32_t format, uint8_t* output) {
    std::memcpy(output, "FIR", 4);  // the NUL is part of the identifier
    std::memcpy(output + 4, "010", 4);
    StoreBigEndian16(output + 8, 0);  // the length has 6 bytes, the top two unused
    StoreBigEndian32(output + 10, fields.record_length);
    uint8_t* out = output + 14;
    if (format == RIDGEX_IMG_FMT_ANSI381) {  // only ANSI carries the CBEFF product
        StoreBigEndian32(out, kCbeffProductId);
        out += 4;
    }
    StoreBigEndian16(out, 0);  // capture device
    StoreBigEndian16(out + 2, kAcquisitionLevel);
    out[4] = 1;  // number of fingers
    out[5] = kPixelsPerInch;
    StoreBigEndian16(out + 6, fields.resolution);   // horizontal scan
    StoreBigEndian16(out + 8, fields.resolution);   // vertical scan
    StoreBigEndian16(out + 10, fields.resolution);  // horizontal image
    StoreBigEndian16(out + 12, fields.resolution);  // vertical image
    out[14] = kPixelDepth;
    out[15] = 0;  // uncompressed
    StoreBigEndian16(out + 16, 0);
}

ridgex_result WriteFingerImageRecord(uint32_t width, uint32_t height, uint32_t resolution,
                                     const uint8_t* pixels, uint32_t pixels_length, uint32_t format,
                                     uint32_t output_resolution, uint32_t reverse, uint8_t* output,
                                     uint32_t* output_size) {
    if (width == 0 || height == 0 || pixels == nullptr || pixels_length == 0) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    if (format != RIDGEX_IMG_FMT_ANSI381 && format != RIDGEX_IMG_FMT_ISO19794) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    if (output_size == nullptr || resolution == 0 || output_resolution == 0) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    // The whole product: a 32-bit one can wrap to a small number and let a
    // block pass that is far shorter than its geometry.
    if (uint64_t{width} * height > pixels_length) {
        return RIDGEX_E_BAD_IMAGE;
    }
    // 32-bit products, fractions dropped: these sizes are part of the format.
    const uint32_t output_width = width * output_resolution / resolution;
    const uint32_t output_height = height * output_resolution / resolution;
    const uint32_t header_size =
        format == RIDGEX_IMG_FMT_ANSI381 ? kAnsiRecordHeaderSize : kIsoRecordHeaderSize;
    const uint64_t full_length = uint64_t{output_width} * output_height + header_size;
    if (full_length > UINT32_MAX) {
        return RIDGEX_E_INVALID_PARAMETER;  // no 32-bit size can describe the record
    }
    const uint32_t record_length = static_cast<uint32_t>(full_length);
    if (*output_size < record_length) {
        *output_size = record_length;
        return RIDGEX_E_MORE_DATA;
    }
    if (output == nullptr) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    *output_size = record_length;

    const uint32_t output_pixels = record_length - header_size;
    const uint32_t step = resolution * 256 / output_resolution;
    ResampleImage(output + header_size, output_width, output_pixels, pixels, width, height, step,
                  reverse != 0);
    WriteRecordHeader({record_length, output_resolution}, format, output);
    WriteFingerViewHeader(output_pixels, output_width, output_height,
                          output + header_size - kFingerViewHeaderSize);
    return RIDGEX_SUCCESS;
}
