// The record writer over any geometry, resolutions, format and turn, from a
// source of exactly the bytes the geometry needs, into a block of exactly
// the record's length at any offset from a cache line; then every build of
// the resampler that this processor runs must give the record's pixels.
#include <cstring>
#include <memory>

#include "fuzz_input.h"
#include "image/finger_image_record.h"
#include "image/resample_variants.h"

namespace {

constexpr uint32_t kMaxBytes = 1 << 20;

// `size` bytes at `offset` from a 64-byte boundary, nothing behind them.
std::unique_ptr<uint8_t[], decltype(&std::free)> Place(uint32_t offset, uint32_t size) {
    void* block = nullptr;
    if (posix_memalign(&block, 64, offset + size) != 0) {
        std::abort();
    }
    return {static_cast<uint8_t*>(block), &std::free};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const uint32_t width = input.Take(2), height = input.Take(2);
    const uint32_t resolution = input.Take(4), output_resolution = input.Take(4);
    const uint32_t flags = input.Take(1), offset = input.Take(1) % 64;
    const uint32_t format = flags & 1 ? RIDGEX_IMG_FMT_ANSI381 : RIDGEX_IMG_FMT_ISO19794;
    const bool reverse = (flags & 2) != 0;
    const uint32_t pixels = width * height;
    const std::string_view fill = input.Rest();
    if (pixels == 0 || pixels > kMaxBytes) {
        return 0;
    }
    const std::unique_ptr<uint8_t[]> source(new uint8_t[pixels]);
    for (uint32_t i = 0; i < pixels; ++i) {
        source[i] = fill.empty() ? static_cast<uint8_t>(i) : fill[i % fill.size()];
    }
    uint32_t length = 0;
    if (WriteFingerImageRecord(width, height, resolution, source.get(), pixels, format,
                               output_resolution, reverse, nullptr,
                               &length) != RIDGEX_E_MORE_DATA ||
        length > kMaxBytes) {
        return 0;
    }
    const auto record = Place(offset, length);
    if (WriteFingerImageRecord(width, height, resolution, source.get(), pixels, format,
                               output_resolution, reverse, record.get() + offset,
                               &length) != RIDGEX_SUCCESS) {
        std::abort();
    }
    const uint32_t header =
        format == RIDGEX_IMG_FMT_ANSI381 ? kAnsiRecordHeaderSize : kIsoRecordHeaderSize;
    for (const auto& build : image_detail::kResampleBuilds) {
        const auto image = Place(offset, length - header);
        if (build.supported()) {
            build.run(image.get() + offset, width * output_resolution / resolution, length - header,
                      source.get(), width, height, resolution * 256 / output_resolution, reverse);
            if (std::memcmp(image.get() + offset, record.get() + offset + header,
                            length - header) != 0) {
                std::abort();
            }
        }
    }
    return 0;
}
