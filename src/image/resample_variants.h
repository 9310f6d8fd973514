// The resampler compiled four times: for the x86-64 baseline; for SSSE3,
// whose byte shuffle lets the compiler turn rows around in vector registers;
// for AVX2, which also interleaves pixels in them; and for AVX-512, whose
// wider registers keep a turned copy at the pace of a plain copy. All give
// the same bytes for every input; ResampleImage picks one per call by the
// processor it runs on. Tests call each directly.
#pragma once

#include <cstdint>

namespace image_detail {

using ResampleFn = void (*)(uint8_t* output, uint32_t output_width, uint32_t output_pixels,
                            const uint8_t* source, uint32_t source_width, uint32_t source_height,
                            uint32_t step, bool reverse);

// One build of the resampler, and whether this processor can run it.
struct ResampleBuild {
    const char* name;
    ResampleFn run;
    bool (*supported)();
};

// Widest first; the last, the baseline, runs everywhere.
extern const ResampleBuild kResampleBuilds[4];

}  // namespace image_detail
