// A slow, literal resampler for the tests: one pixel at a time, fractions
// accumulated and carried exactly as the fixed-point formula is stated, with
// every neighbour read through one function that knows where the image ends.
#pragma once

#include <cstdint>
#include <vector>

namespace image_test {

struct SourceImage {
    const uint8_t* block;  // the image, possibly followed by more bytes
    uint32_t width;
    uint32_t height;
};

// What a neighbour beyond the right or bottom edge reads as.
enum class Outside {
    kRepeatEdge,  // the nearest pixel of the image
    kRawMemory,   // whatever follows in the block, as a bare pointer walk reads it
};

struct ReferenceResult {
    std::vector<uint8_t> pixels;
    // Per output pixel: a neighbour beyond the edge had a weight above 0.
    std::vector<bool> used_outside;
};

ReferenceResult ReferenceResample(const SourceImage& source, uint32_t output_width,
                                  uint32_t output_pixels, uint32_t step, bool reverse,
                                  Outside outside);

}  // namespace image_test
