// Worked examples of the resampler, pinned byte for byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <vector>

#include "resample_variant.h"

namespace image_test {
namespace {

using Bytes = std::vector<uint8_t>;

class ResampleExamples : public ResampleVariantTest {
  protected:
    Bytes Run(const Bytes& source, uint32_t source_width, uint32_t output_width,
              uint32_t output_pixels, uint32_t step, bool reverse) {
        Bytes out(output_pixels, 0xEE);
        resample()(out.data(), output_width, output_pixels, source.data(), source_width,
                   static_cast<uint32_t>(source.size() / source_width), step, reverse);
        return out;
    }
};

TEST_P(ResampleExamples, HalfResolutionPicksEverySecondPixel) {
    const Bytes source{1, 2, 3, 4, 5, 6, 7, 8};  // 4 × 2
    EXPECT_EQ(Run(source, 4, 2, 2, 512, false), (Bytes{1, 3}));
    EXPECT_EQ(Run(source, 4, 2, 2, 512, true), (Bytes{3, 1}));
}

TEST_P(ResampleExamples, CopyPathTakesLeadingBytesWhateverTheWidth) {
    // Step 256 with a narrower output is a copy, not a crop.
    Bytes source(100);
    std::iota(source.begin(), source.end(), 0);
    EXPECT_EQ(Run(source, 10, 9, 81, 256, false), Bytes(source.begin(), source.begin() + 81));
    EXPECT_EQ(Run(source, 10, 9, 81, 256, true), Bytes(source.rend() - 81, source.rend()));
}

TEST_P(ResampleExamples, DoubleResolutionTakesMeansWithRemainderDropped) {
    // 3 × 2 source at step 128; the last column and the last row lean on the
    // repeated edge.
    const Bytes source{10, 13, 40,  //
                       20, 30, 41};
    const Bytes expected{10, 11, 13, 26, 40, 40,  //
                         15, 18, 21, 31, 40, 40,  //
                         20, 25, 30, 35, 41, 41,  //
                         20, 25, 30, 35, 41, 41};
    EXPECT_EQ(Run(source, 3, 6, 24, 128, false), expected);
    EXPECT_EQ(Run(source, 3, 6, 24, 128, true), Bytes(expected.rbegin(), expected.rend()));
}

TEST_P(ResampleExamples, OddStepFollowsTheFormula) {
    // Step 320 over a 3 × 3 ramp: fractions 0, 64, 128 across and down.
    const Bytes source{0,  100, 200,  //
                       50, 150, 250,  //
                       90, 180, 255};
    const Bytes out = Run(source, 3, 2, 4, 320, false);
    // (1,0): column 1, fx 64: (100 × 192 + 200 × 64) × 256 >> 16 = 125.
    // (0,1): row 1, fy 64: (50 × 192 + 90 × 64) × 256 >> 16 = 60.
    // (1,1): top 150 × 192 + 250 × 64 = 44800, bottom 180 × 192 + 255 × 64
    //        = 50880, (44800 × 192 + 50880 × 64) >> 16 = 180.
    EXPECT_EQ(out, (Bytes{0, 125, 60, 180}));
}

TEST_P(ResampleExamples, ShortLastRowWritesExactlyTheCount) {
    Bytes source(64);
    std::iota(source.begin(), source.end(), 0);
    Bytes out(20, 0xEE);
    resample()(out.data(), 7, 17, source.data(), 8, 8, 384, false);
    EXPECT_EQ(std::count(out.begin() + 17, out.end(), 0xEE), 3);
    EXPECT_EQ(out[14], 24);  // row 2 starts on source row 3, column 0
}

TEST_P(ResampleExamples, NothingToWriteWritesNothing) {
    const Bytes source{1, 2, 3, 4};
    for (uint32_t step : {128u, 256u, 512u, 300u}) {
        Bytes out(4, 0xEE);
        resample()(out.data(), 2, 0, source.data(), 2, 2, step, true);
        EXPECT_EQ(out, Bytes(4, 0xEE)) << "step " << step;
    }
}

INSTANTIATE_TEST_SUITE_P(Variants, ResampleExamples, ::testing::ValuesIn(ResampleVariants()),
                         VariantName);

}  // namespace
}  // namespace image_test
