// The record writer over any geometry, resolutions, format and turn, from a
// source of exactly the bytes the geometry needs, into a buffer of exactly
// the record's length at any offset from a cache line; then every build of
// the resampler that this processor runs must give the record's pixels.
#include <cstring>
#include <memory>

#include "fuzz_input.h"
#include "image/finger_image_record.h"
#include "image/resample_variants.h"

namespace {

constexpr uint32_t kMaxBytes = 1 << 22;

// `size` bytes at `offset` from a 64-byte boundary, and nothing behind them.
struct placed_block {
    placed_block(uint32_t offset, uint32_t size) {
        void* block = nullptr;
        if (posix_memalign(&block, 64, offset + size) != 0) {
            std::abort();
        }
        base = static_cast<uint8_t*>(block);
        bytes = base + offset;
        std::memset(base, 0, offset + size);
    }
    ~placed_block() { std::free(base); }
    uint8_t* base;
    uint8_t* bytes;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const uint32_t width = input.Take(2);
    const uint32_t height = input.Take(2);
    const uint32_t resolution = input.Take(4);
    const uint32_t output_resolution = input.Take(4);
    const uint32_t flags = input.Take(1);
    const uint32_t offset = input.Take(1) % 64;
    const uint32_t format = flags & 1 ? RIDGEX_IMG_FMT_ANSI381 : RIDGEX_IMG_FMT_ISO19794;
    const bool reverse = (flags & 2) != 0;
    if (uint64_t{width} * height > kMaxBytes || width * height == 0) {
        return 0;
    }
    const std::unique_ptr<uint8_t[]> source(new uint8_t[width * height]);
    const std::string_view pixels = input.Rest();
    for (uint32_t i = 0; i < width * height; ++i) {
        source[i] = pixels.empty() ? static_cast<uint8_t>(i) : pixels[i % pixels.size()];
    }
    uint32_t length = 0;
    if (WriteFingerImageRecord(width, height, resolution, source.get(), width * height, format,
                               output_resolution, reverse, nullptr,
                               &length) != RIDGEX_E_MORE_DATA ||
        length > kMaxBytes) {
        return 0;
    }
    const placed_block record(offset, length);
    if (WriteFingerImageRecord(width, height, resolution, source.get(), width * height, format,
                               output_resolution, reverse, record.bytes,
                               &length) != RIDGEX_SUCCESS) {
        std::abort();
    }
    const uint32_t header = format == RIDGEX_IMG_FMT_ANSI381 ? kAnsiRecordHeaderSize
                                                             : kIsoRecordHeaderSize;
    const uint32_t output_pixels = length - header;
    for (const auto& build : image_detail::kResampleBuilds) {
        if (!build.supported()) {
            continue;
        }
        const placed_block image(offset, output_pixels);
        build.run(image.bytes, width * output_resolution / resolution, output_pixels,
                  source.get(), width, height, resolution * 256 / output_resolution, reverse);
        if (std::memcmp(image.bytes, record.bytes + header, output_pixels) != 0) {
            std::abort();
        }
    }
    return 0;
}
