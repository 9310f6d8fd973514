#include "reference_resampler.h"

#include <algorithm>

namespace image_test {

ReferenceResult ReferenceResample(const SourceImage& source, uint32_t output_width,
                                  uint32_t output_pixels, uint32_t step, bool reverse,
                                  Outside outside) {
    ReferenceResult result{std::vector<uint8_t>(output_pixels),
                           std::vector<bool>(output_pixels, false)};
    if (step == 256) {
        for (uint32_t i = 0; i < output_pixels; ++i) {
            result.pixels[i] = reverse ? source.block[output_pixels - 1 - i] : source.block[i];
        }
        return result;
    }
    const uint32_t w = source.width;
    // Neighbour (dy, dx) of the pixel at row r, column c, with its weight.
    auto read = [&](uint64_t r, uint64_t c, uint32_t dy, uint32_t dx, uint32_t weight,
                    bool& used_outside) -> uint32_t {
        const bool beyond = r + dy >= source.height || c + dx >= w;
        if (beyond && weight > 0) {
            used_outside = true;
        }
        if (beyond && outside == Outside::kRepeatEdge) {
            const uint64_t row = std::min<uint64_t>(r + dy, source.height - 1);
            const uint64_t col = std::min<uint64_t>(c + dx, w - 1);
            return source.block[row * w + col];
        }
        return source.block[(r * w + c) + dy * w + dx];
    };

    uint64_t write = reverse ? output_pixels - 1 : 0;
    uint32_t written = 0;
    uint64_t row = 0;  // row of the row position
    uint32_t fy = 0;
    while (written < output_pixels && output_width > 0) {
        uint64_t col = 0;
        uint32_t fx = 0;
        for (uint32_t x = 0; x < output_width && written < output_pixels; ++x) {
            bool used = false;
            const uint32_t top = read(row, col, 0, 0, (256 - fx) * (256 - fy), used) * (256 - fx) +
                                 read(row, col, 0, 1, fx * (256 - fy), used) * fx;
            const uint32_t bottom = read(row, col, 1, 0, (256 - fx) * fy, used) * (256 - fx) +
                                    read(row, col, 1, 1, fx * fy, used) * fx;
            const uint32_t pixel = (top * (256 - fy) + bottom * fy) >> 16;
            result.pixels[write] = static_cast<uint8_t>(pixel);
            result.used_outside[write] = used;
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
    return result;
}

}  // namespace image_test
