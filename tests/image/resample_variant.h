// Runs a test body against each compiled variant of the resampler, and
// against the dispatching entry point, so that the baseline code is checked
// on machines whose processor would never pick it.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "image/finger_image_record.h"
#include "image/resample_variants.h"

namespace image_detail {
// Found by argument lookup, so that test listings name the build.
inline void PrintTo(const ResampleBuild& build, std::ostream* os) {
    *os << build.name;
}
}  // namespace image_detail

namespace image_test {

using image_detail::ResampleBuild;
using image_detail::ResampleFn;

inline bool Always() {
    return true;
}

// The dispatching entry point, then every build.
inline std::vector<ResampleBuild> ResampleVariants() {
    std::vector<ResampleBuild> variants{{"dispatch", &ResampleImage, &Always}};
    variants.insert(variants.end(), std::begin(image_detail::kResampleBuilds),
                    std::end(image_detail::kResampleBuilds));
    return variants;
}

class ResampleVariantTest : public ::testing::TestWithParam<ResampleBuild> {
  protected:
    void SetUp() override {
        if (!GetParam().supported()) {
            GTEST_SKIP() << "the processor lacks " << GetParam().name;
        }
    }
    ResampleFn resample() const { return GetParam().run; }
};

inline std::string VariantName(const ::testing::TestParamInfo<ResampleBuild>& info) {
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
