#include "pad_energy.h"

#include <cstddef>
#include <cstdlib>

namespace nex_sim {

double pad_energy(const uint8_t* image, int height, int width) {
    if (height < 3 || width < 3) {
        return 0.0;
    }
    const auto stride = static_cast<ptrdiff_t>(width);
    uint64_t total = 0;
    for (int row = 1; row + 1 < height; ++row) {
        const uint8_t* line = image + row * stride;
        for (int col = 1; col + 1 < width; ++col) {
            const uint8_t* p = line + col;
            total +=
                static_cast<uint32_t>(std::abs(4 * p[0] - p[-1] - p[1] - p[-stride] - p[stride]));
        }
    }
    const double inner = static_cast<double>(height - 2) * static_cast<double>(width - 2);
    return static_cast<double>(total) / inner;
}

}  // namespace nex_sim
