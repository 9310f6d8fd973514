// The record writer: header bytes, pixels against the reference resampler,
// the order of its refusals, and the buffer protocol.
#include "image/finger_image_record.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <numeric>
#include <vector>

#include "reference_resampler.h"

namespace {

using Bytes = std::vector<uint8_t>;

// A 100 × 50 ramp at 500 dots per inch.
struct Image {
    uint32_t width = 100, height = 50, resolution = 500;
    Bytes pixels = Bytes(5000);
    Image() { std::iota(pixels.begin(), pixels.end(), 0); }
};

struct Written {
    ridgex_result status;
    uint32_t size;
    Bytes record;
    Bytes Slice(size_t from, size_t to) const {
        return {record.begin() + from, record.begin() + to};
    }
};

Written Write(const Image& image, uint32_t format, uint32_t output_resolution, uint32_t room,
              uint32_t reverse = 0) {
    Written w{0, room, Bytes(room + 8, 0xEE)};
    w.status =
        WriteFingerImageRecord(image.width, image.height, image.resolution, image.pixels.data(),
                               static_cast<uint32_t>(image.pixels.size()), format,
                               output_resolution, reverse, w.record.data(), &w.size);
    return w;
}

// Big-endian fields of `bytes` each.
Bytes BigEndian(std::initializer_list<uint32_t> values, int bytes) {
    Bytes out;
    for (uint32_t value : values) {
        for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
            out.push_back(static_cast<uint8_t>(value >> shift));
        }
    }
    return out;
}

TEST(FingerImageRecord, AnsiAndIsoRecordsOfReaderImage) {
    const Image image;
    const Written ansi = Write(image, RIDGEX_IMG_FMT_ANSI381, 500, 6000);
    ASSERT_EQ(ansi.status, RIDGEX_SUCCESS);
    EXPECT_EQ(ansi.size, 5050u);
    const Bytes expected_header{
        0x46, 0x49, 0x52, 0x00, 0x30, 0x31, 0x30, 0x00,  // "FIR", "010"
        0x00, 0x00, 0x00, 0x00, 0x13, 0xBA,              // length 5050
        0x00, 0x33, 0xFE, 0xFF,                          // CBEFF product
        0x00, 0x00, 0x00, 0x1E, 0x01, 0x01,              // device, level 30, 1 finger, ppi
        0x01, 0xF4, 0x01, 0xF4, 0x01, 0xF4, 0x01, 0xF4,  // four resolutions
        0x08, 0x00, 0x00, 0x00,                          // depth, compression, reserved
        0x00, 0x00, 0x13, 0x96,                          // view length 5014
        0x00, 0x01, 0x01, 0x4B, 0x00,                    // position, views, view, quality, type
        0x00, 0x64, 0x00, 0x32, 0x00};                   // 100 × 50, reserved
    EXPECT_EQ(ansi.Slice(0, 50), expected_header);
    EXPECT_EQ(ansi.Slice(50, 5050), image.pixels);
    EXPECT_EQ(ansi.record[5050], 0xEE);  // nothing behind the record

    // ISO lacks only the product identifier.
    const Written iso = Write(image, RIDGEX_IMG_FMT_ISO19794, 500, 6000);
    ASSERT_EQ(iso.status, RIDGEX_SUCCESS);
    EXPECT_EQ(iso.size, 5046u);
    EXPECT_EQ(iso.Slice(0, 16), (Bytes{0x46, 0x49, 0x52, 0x00, 0x30, 0x31, 0x30, 0x00, 0x00, 0x00,
                                       0x00, 0x00, 0x13, 0xB6, 0x00, 0x00}));
    EXPECT_EQ(iso.Slice(14, 5046), ansi.Slice(18, 5050));
}

// The resolution, view length and size fields follow the output; fractions
// of the size are dropped; any reverse other than 0 turns the image.
TEST(FingerImageRecord, OutputFollowsTheResolution) {
    const Image image;
    for (const auto& [format, r, reverse, width, height] :
         {std::tuple{RIDGEX_IMG_FMT_ANSI381, 333u, 0x80000000u, 66u, 33u},
          {RIDGEX_IMG_FMT_ISO19794, 1000u, 0u, 200u, 100u},
          {RIDGEX_IMG_FMT_ANSI381, 720u, 0x100u, 144u, 72u}}) {
        SCOPED_TRACE(r);
        const uint32_t header = format == RIDGEX_IMG_FMT_ANSI381 ? 50 : 46;
        const Written w = Write(image, format, r, width * height + header, reverse);
        ASSERT_EQ(w.status, RIDGEX_SUCCESS);
        EXPECT_EQ(w.size, width * height + header);
        EXPECT_EQ(w.Slice(header, w.size),
                  image_test::ReferenceResample(image.pixels.data(), 100, 50, width, width * height,
                                                500 * 256 / r, reverse != 0));
        EXPECT_EQ(w.Slice(header - 26, header - 18), BigEndian({r, r, r, r}, 2));
        EXPECT_EQ(w.Slice(header - 14, header - 10), BigEndian({width * height + 14}, 4));
        EXPECT_EQ(w.Slice(header - 5, header - 1), BigEndian({width, height}, 2));
    }
}

TEST(FingerImageRecord, RoomProtocol) {
    const Image image;
    // One byte short: the length is asked for and nothing is written.
    const Written w = Write(image, RIDGEX_IMG_FMT_ANSI381, 500, 5049);
    EXPECT_EQ(w.status, RIDGEX_E_MORE_DATA);
    EXPECT_EQ(w.size, 5050u);
    EXPECT_EQ(w.record, Bytes(5049 + 8, 0xEE));
    // No buffer: a probe with no room, a mistake with room.
    for (const auto& [room, expected] :
         {std::pair{0u, RIDGEX_E_MORE_DATA}, {5050u, RIDGEX_E_INVALID_PARAMETER}}) {
        uint32_t size = room;
        EXPECT_EQ(WriteFingerImageRecord(100, 50, 500, image.pixels.data(), 5000,
                                         RIDGEX_IMG_FMT_ANSI381, 500, 0, nullptr, &size),
                  expected);
        EXPECT_EQ(size, 5050u);
    }
}

// Each refusal with the room test failing too: the earlier test must win,
// leave the size alone and write nothing.
TEST(FingerImageRecord, RefusalsComeBeforeTheRoomTest) {
    constexpr uint32_t kAnsi = RIDGEX_IMG_FMT_ANSI381;
    constexpr ridgex_result kInvalid = RIDGEX_E_INVALID_PARAMETER;
    const struct {
        const char* name;
        uint32_t width, height, resolution;
        bool null_pixels;
        uint32_t pixels_length, format, output_resolution;
        bool null_size;
        ridgex_result expected;
    } refusals[] = {
        {"zero width", 0, 50, 500, false, 5000, kAnsi, 500, false, kInvalid},
        {"zero height", 100, 0, 500, false, 5000, kAnsi, 500, false, kInvalid},
        {"null pixels", 100, 50, 500, true, 5000, kAnsi, 500, false, kInvalid},
        {"empty pixels", 100, 50, 500, false, 0, kAnsi, 500, false, kInvalid},
        {"raw format", 100, 50, 500, false, 5000, RIDGEX_IMG_FMT_RAW, 500, false, kInvalid},
        {"null size", 100, 50, 500, false, 5000, kAnsi, 500, true, kInvalid},
        {"zero resolution", 100, 50, 0, false, 5000, kAnsi, 500, false, kInvalid},
        {"zero output resolution", 100, 50, 500, false, 5000, kAnsi, 0, false, kInvalid},
        // Unknown format before the short block, zero resolution too.
        {"format before bad image", 100, 50, 500, false, 4999, 7, 500, false, kInvalid},
        {"resolution before bad image", 100, 50, 0, false, 4999, kAnsi, 500, false, kInvalid},
        {"one pixel short", 100, 50, 500, false, 4999, kAnsi, 500, false, RIDGEX_E_BAD_IMAGE},
        // 65536 × 65537 wraps to 65536 in 32 bits; the block is still short.
        {"product beyond 32 bits", 65536, 65537, 500, false, 65536, kAnsi, 500, false,
         RIDGEX_E_BAD_IMAGE},
        // 60000 × 1 at 1 asked for 80000: 4.8e9 output pixels.
        {"record beyond 32 bits", 60000, 1, 1, false, 60000, kAnsi, 80000, false, kInvalid},
    };
    const Bytes pixels(6000, 1);
    for (const auto& r : refusals) {
        SCOPED_TRACE(r.name);
        Bytes out(16, 0xEE);
        uint32_t size = 16;
        EXPECT_EQ(WriteFingerImageRecord(r.width, r.height, r.resolution,
                                         r.null_pixels ? nullptr : pixels.data(), r.pixels_length,
                                         r.format, r.output_resolution, 0, out.data(),
                                         r.null_size ? nullptr : &size),
                  r.expected);
        EXPECT_EQ(size, 16u);
        EXPECT_EQ(out, Bytes(16, 0xEE));
    }
}

}  // namespace
