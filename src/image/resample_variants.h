// The resampler compiled three times: for the x86-64 baseline, for AVX2,
// where the compiler can turn rows around and interleave pixels in vector
// registers, and for AVX-512, whose wider registers keep a turned copy at the
// pace of a plain copy. All give the same bytes for every input; ResampleImage
// picks one per call by the processor it runs on. Tests call each directly.
#pragma once

#include <cstdint>

namespace image_detail {

void ResampleImageBaseline(uint8_t* output, uint32_t output_width, uint32_t output_pixels,
                           const uint8_t* source, uint32_t source_width, uint32_t source_height,
                           uint32_t step, bool reverse);

// Only to be called when CpuHasAvx2() is true.
void ResampleImageAvx2(uint8_t* output, uint32_t output_width, uint32_t output_pixels,
                       const uint8_t* source, uint32_t source_width, uint32_t source_height,
                       uint32_t step, bool reverse);

// Only to be called when CpuHasAvx512() is true.
void ResampleImageAvx512(uint8_t* output, uint32_t output_width, uint32_t output_pixels,
                         const uint8_t* source, uint32_t source_width, uint32_t source_height,
                         uint32_t step, bool reverse);

bool CpuHasAvx2();
bool CpuHasAvx512();  // AVX-512 BW and VL

}  // namespace image_detail
