#include "reference_resampler.h"

#include <algorithm>

namespace image_test {

std::vector<uint8_t> ReferenceResample(const uint8_t* image, uint32_t width, uint32_t height,
                                       uint32_t output_width, uint32_t output_pixels, uint32_t step,
                                       bool reverse) {
    std::vector<uint8_t> out(output_pixels);
    if (step == 256) {
        for (uint32_t i = 0; i < output_pixels; ++i) {
            out[i] = reverse ? image[output_pixels - 1 - i] : image[i];
        }
        return out;
    }
    auto read = [&](uint64_t r, uint64_t c) -> uint32_t {
        return image[std::min<uint64_t>(r, height - 1) * width + std::min<uint64_t>(c, width - 1)];
    };
    uint64_t write = reverse ? output_pixels - 1 : 0;
    uint32_t written = 0;
    uint64_t row = 0;
    uint32_t fy = 0;
    while (written < output_pixels && output_width > 0) {
        uint64_t col = 0;
        uint32_t fx = 0;
        for (uint32_t x = 0; x < output_width && written < output_pixels; ++x) {
            const uint32_t top = read(row, col) * (256 - fx) + read(row, col + 1) * fx;
            const uint32_t bottom = read(row + 1, col) * (256 - fx) + read(row + 1, col + 1) * fx;
            out[write] = static_cast<uint8_t>((top * (256 - fy) + bottom * fy) >> 16);
            write = reverse ? write - 1 : write + 1;
            ++written;
            fx += step;
            col += fx / 256;
            fx %= 256;
        }
        fy += step;
        row += fy / 256;
        fy %= 256;
    }
    return out;
}

}  // namespace image_test
