// The resampler, each build and the dispatching entry point: worked examples
// pinned byte for byte, then many random sizes and resolutions compared with
// the literal reference. Random sources live in blocks of exactly
// width × height bytes, so an AddressSanitizer build catches any read beyond.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "reference_resampler.h"
#include "resample_variant.h"

namespace image_test {
namespace {

using Bytes = std::vector<uint8_t>;

class Resample : public ResampleVariantTest {
  protected:
    Bytes Run(const uint8_t* source, uint32_t width, uint32_t height, uint32_t output_width,
              uint32_t output_pixels, uint32_t step, bool reverse, size_t room = 0) const {
        Bytes out(std::max<size_t>(room, output_pixels), 0xEE);
        resample()(out.data(), output_width, output_pixels, source, width, height, step, reverse);
        return out;
    }
};

TEST_P(Resample, DoubleResolutionTakesMeansWithRemainderDropped) {
    // 3 × 2 source at step 128; the last column and the last row lean on the
    // repeated edge.
    const Bytes source{10, 13, 40,  //
                       20, 30, 41};
    const Bytes expected{10, 11, 13, 26, 40, 40,  //
                         15, 18, 21, 31, 40, 40,  //
                         20, 25, 30, 35, 41, 41,  //
                         20, 25, 30, 35, 41, 41};
    EXPECT_EQ(Run(source.data(), 3, 2, 6, 24, 128, false), expected);
    EXPECT_EQ(Run(source.data(), 3, 2, 6, 24, 128, true),
              Bytes(expected.rbegin(), expected.rend()));
}

TEST_P(Resample, CopyPathTakesLeadingBytesWhateverTheWidth) {
    Bytes source(100);
    std::iota(source.begin(), source.end(), 0);
    EXPECT_EQ(Run(source.data(), 10, 10, 9, 81, 256, false),
              Bytes(source.begin(), source.begin() + 81));
    EXPECT_EQ(Run(source.data(), 10, 10, 9, 81, 256, true),
              Bytes(source.rend() - 81, source.rend()));
}

TEST_P(Resample, WritesExactlyTheCount) {
    Bytes source(64);
    std::iota(source.begin(), source.end(), 0);
    const Bytes out = Run(source.data(), 8, 8, 7, 17, 384, false, 20);  // a short last row
    EXPECT_EQ(std::count(out.begin() + 17, out.end(), 0xEE), 3);
    EXPECT_EQ(out[14], 24);  // row 2 starts on source row 3, column 0
    for (uint32_t step : {128u, 256u, 512u, 300u}) {
        EXPECT_EQ(Run(source.data(), 2, 2, 2, 0, step, true, 4), Bytes(4, 0xEE)) << step;
    }
}

// Reader resolutions, with the odd ones that give steps off the fast paths.
constexpr uint32_t kResolutions[] = {3, 5, 96, 250, 300, 333, 362, 500, 501, 600, 700, 1000, 1200};

struct Case {
    uint32_t width, height, resolution, output_resolution;
};

std::vector<Case> RandomCases(std::mt19937& random, int count) {
    auto pick = [&](uint32_t low, uint32_t high) {
        return std::uniform_int_distribution<uint32_t>(low, high)(random);
    };
    // Steps of whole pixels, 0 included, and the usual reader conversions.
    std::vector<Case> cases{{37, 23, 500, 250}, {38, 24, 1000, 500}, {40, 30, 750, 250},
                            {5, 4, 1, 300},     {41, 33, 500, 1000}, {2500, 3, 500, 1000},
                            {1, 1, 500, 1000},  {1, 7, 500, 700}};
    while (static_cast<int>(cases.size()) < count) {
        Case c{};
        // Now and then a row wider than the buffer a turned row goes through.
        c.width = pick(0, 9) == 0 ? pick(2000, 4500) : pick(1, 90);
        c.height = c.width > 1000 ? pick(1, 4) : pick(1, 60);
        c.resolution = pick(0, 3) == 0 ? pick(1, 1500) : kResolutions[pick(0, 12)];
        c.output_resolution = pick(0, 3) == 0 ? pick(1, 1500) : kResolutions[pick(0, 12)];
        const Geometry g = GeometryFor(c.width, c.height, c.resolution, c.output_resolution);
        if (uint64_t{g.output_width} * g.output_height <= 400000) {
            cases.push_back(c);
        }
    }
    return cases;
}

// Also with more output than the source can feed: positions beyond the edges
// take the nearest pixel just as missing neighbours do, and nothing is read
// outside the block. (The copy path has no such reserve.)
TEST_P(Resample, MatchesReferenceBothWaysAlsoOversized) {
    std::mt19937 random(11);
    std::uniform_int_distribution<int> byte(0, 255);
    for (const Case& c : RandomCases(random, 300)) {
        const auto image = std::make_unique<uint8_t[]>(uint64_t{c.width} * c.height);
        std::generate_n(image.get(), uint64_t{c.width} * c.height, [&] { return byte(random); });
        const Geometry exact = GeometryFor(c.width, c.height, c.resolution, c.output_resolution);
        Geometry oversized = exact;
        oversized.output_width += 1 + random() % 5;
        oversized.output_height += 1 + random() % 5;
        for (int sizes = exact.step == 256 ? 1 : 2; sizes > 0; --sizes) {
            const Geometry& g = sizes == 2 ? oversized : exact;
            for (bool reverse : {false, true}) {
                ASSERT_EQ(Run(image.get(), c.width, c.height, g.output_width, g.pixels(), g.step,
                              reverse),
                          ReferenceResample(image.get(), c.width, c.height, g.output_width,
                                            g.pixels(), g.step, reverse))
                    << c.width << "x" << c.height << " " << c.resolution << "->"
                    << c.output_resolution << " step " << g.step << " by " << g.output_width
                    << (reverse ? " turned" : "");
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Variants, Resample, ::testing::ValuesIn(ResampleVariants()), VariantName);

}  // namespace
}  // namespace image_test
