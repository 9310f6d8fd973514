// Runs a test body against each compiled variant of the resampler, and
// against the dispatching entry point, so that the baseline code is checked
// on machines whose processor would never pick it.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>

#include "image/finger_image_record.h"
#include "image/resample_variants.h"

namespace image_test {

using ResampleFn = void (*)(uint8_t*, uint32_t, uint32_t, const uint8_t*, uint32_t, uint32_t,
                            uint32_t, bool);

struct ResampleVariant {
    const char* name;
    ResampleFn run;
    bool (*supported)();
};

inline bool Always() {
    return true;
}

inline void PrintTo(const ResampleVariant& variant, std::ostream* os) {
    *os << variant.name;
}

inline const ResampleVariant kResampleVariants[] = {
    {"Dispatch", &ResampleImage, &Always},
    {"Baseline", &image_detail::ResampleImageBaseline, &Always},
    {"Avx2", &image_detail::ResampleImageAvx2, &image_detail::CpuHasAvx2},
    {"Avx512", &image_detail::ResampleImageAvx512, &image_detail::CpuHasAvx512},
};

class ResampleVariantTest : public ::testing::TestWithParam<ResampleVariant> {
  protected:
    void SetUp() override {
        if (!GetParam().supported()) {
            GTEST_SKIP() << "the processor lacks " << GetParam().name;
        }
    }
    ResampleFn resample() const { return GetParam().run; }
};

inline std::string VariantName(const ::testing::TestParamInfo<ResampleVariant>& info) {
    return info.param.name;
}

// Output geometry and step as the record writer derives them.
struct Geometry {
    uint32_t output_width;
    uint32_t output_height;
    uint32_t step;
    uint32_t pixels() const { return output_width * output_height; }
};

inline Geometry GeometryFor(uint32_t width, uint32_t height, uint32_t resolution,
                            uint32_t output_resolution) {
    return {width * output_resolution / resolution, height * output_resolution / resolution,
            resolution * 256 / output_resolution};
}

}  // namespace image_test
