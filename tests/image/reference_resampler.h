// A slow, literal resampler for the tests: one pixel at a time, fractions
// accumulated and carried exactly as the fixed-point formula is stated, and a
// neighbour beyond the right or bottom edge read as the nearest pixel.
#pragma once

#include <cstdint>
#include <vector>

namespace image_test {

std::vector<uint8_t> ReferenceResample(const uint8_t* image, uint32_t width, uint32_t height,
                                       uint32_t output_width, uint32_t output_pixels, uint32_t step,
                                       bool reverse);

}  // namespace image_test
