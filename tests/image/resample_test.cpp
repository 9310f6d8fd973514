// The resampler, each build and the dispatching entry point (so that the
// baseline code is checked on machines whose processor would never pick it):
// worked examples pinned byte for byte, then many random sizes and
// resolutions compared with the literal reference. Random sources live in
// blocks of exactly width × height bytes, so an AddressSanitizer build
// catches any read beyond.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "image/finger_image_record.h"
#include "image/resample_variants.h"
#include "reference_resampler.h"

namespace image_detail {
// Found by argument lookup, so that test listings name the build.
inline void PrintTo(const ResampleBuild& build, std::ostream* os) {
    *os << build.name;
}
}  // namespace image_detail

namespace image_test {
namespace {

using Bytes = std::vector<uint8_t>;
using image_detail::ResampleBuild;

class Resample : public ::testing::TestWithParam<ResampleBuild> {
  protected:
    void SetUp() override {
        if (!GetParam().supported()) {
            GTEST_SKIP() << "the processor lacks " << GetParam().name;
        }
    }
    // The output, checked to end exactly at `output_pixels`.
    static Bytes Run(const uint8_t* source, uint32_t width, uint32_t height, uint32_t output_width,
                     uint32_t output_pixels, uint32_t step, bool reverse) {
        Bytes out(output_pixels + 4, 0xEE);
        GetParam().run(out.data(), output_width, output_pixels, source, width, height, step,
                       reverse);
        EXPECT_EQ(Bytes(out.end() - 4, out.end()), Bytes(4, 0xEE)) << "written beyond the count";
        out.resize(output_pixels);
        return out;
    }
};

TEST_P(Resample, WorkedExamples) {
    // 3 × 2 source at step 128: means with the remainder dropped; the last
    // column and the last row lean on the repeated edge.
    const Bytes source{10, 13, 40,  //
                       20, 30, 41};
    const Bytes expected{10, 11, 13, 26, 40, 40,  //
                         15, 18, 21, 31, 40, 40,  //
                         20, 25, 30, 35, 41, 41,  //
                         20, 25, 30, 35, 41, 41};
    EXPECT_EQ(Run(source.data(), 3, 2, 6, 24, 128, false), expected);
    EXPECT_EQ(Run(source.data(), 3, 2, 6, 24, 128, true),
              Bytes(expected.rbegin(), expected.rend()));
    // The copy path takes the leading bytes whatever the width.
    Bytes ramp(100);
    std::iota(ramp.begin(), ramp.end(), 0);
    EXPECT_EQ(Run(ramp.data(), 10, 10, 9, 81, 256, true), Bytes(ramp.rend() - 81, ramp.rend()));
    // A short last row; row 2 starts on source row 3, column 0.
    EXPECT_EQ(Run(ramp.data(), 8, 8, 7, 17, 384, false)[14], 24);
    for (uint32_t step : {128u, 256u, 512u, 300u}) {
        Run(ramp.data(), 2, 2, 2, 0, step, true);
    }
    // A turned copy that ends short of its output's next 64-byte boundary.
    alignas(64) uint8_t block[64] = {};
    GetParam().run(block + 2, 2, 4, ramp.data(), 2, 2, 256, true);
    EXPECT_EQ(Bytes(block + 2, block + 6), (Bytes{3, 2, 1, 0}));
}

// Reader resolutions, with the odd ones that give steps off the fast paths.
constexpr uint32_t kResolutions[] = {3, 5, 96, 250, 300, 333, 362, 500, 501, 600, 700, 1000, 1200};

// Also with more output than the source can feed: positions beyond the edges
// take the nearest pixel just as missing neighbours do, and nothing is read
// outside the block. (The copy path has no such reserve.) Steps of whole
// pixels, 0 included, and the usual reader conversions come first; now and
// then a row is wider than the buffer a turned row goes through.
TEST_P(Resample, MatchesReferenceBothWaysAlsoOversized) {
    std::mt19937 random(11);
    auto pick = [&](uint32_t low, uint32_t high) {
        return std::uniform_int_distribution<uint32_t>(low, high)(random);
    };
    struct Case {
        uint32_t width, height, resolution, output_resolution;
    };
    std::vector<Case> cases{{37, 23, 500, 250}, {38, 24, 1000, 500}, {40, 30, 750, 250},
                            {5, 4, 1, 300},     {41, 33, 500, 1000}, {2500, 3, 500, 1000},
                            {1, 1, 500, 1000},  {1, 7, 500, 700}};
    while (cases.size() < 300) {
        Case c{};
        c.width = pick(0, 9) == 0 ? pick(2000, 4500) : pick(1, 90);
        c.height = c.width > 1000 ? pick(1, 4) : pick(1, 60);
        c.resolution = pick(0, 3) == 0 ? pick(1, 1500) : kResolutions[pick(0, 12)];
        c.output_resolution = pick(0, 3) == 0 ? pick(1, 1500) : kResolutions[pick(0, 12)];
        if (uint64_t{c.width} * c.height * c.output_resolution / c.resolution *
                c.output_resolution / c.resolution <=
            400000) {
            cases.push_back(c);
        }
    }
    for (const Case& c : cases) {
        const auto image = std::make_unique<uint8_t[]>(uint64_t{c.width} * c.height);
        std::generate_n(image.get(), uint64_t{c.width} * c.height, [&] { return pick(0, 255); });
        const uint32_t step = c.resolution * 256 / c.output_resolution;
        uint32_t width = c.width * c.output_resolution / c.resolution;
        uint32_t height = c.height * c.output_resolution / c.resolution;
        for (int sizes = step == 256 ? 1 : 2; sizes > 0; --sizes) {
            for (bool reverse : {false, true}) {
                ASSERT_EQ(Run(image.get(), c.width, c.height, width, width * height, step, reverse),
                          ReferenceResample(image.get(), c.width, c.height, width, width * height,
                                            step, reverse))
                    << c.width << "x" << c.height << " " << c.resolution << "->"
                    << c.output_resolution << " step " << step << " by " << width
                    << (reverse ? " turned" : "");
            }
            width += 1 + random() % 5;  // oversized
            height += 1 + random() % 5;
        }
    }
}

std::vector<ResampleBuild> Builds() {
    std::vector<ResampleBuild> builds{{"dispatch", &ResampleImage, [] { return true; }}};
    builds.insert(builds.end(), std::begin(image_detail::kResampleBuilds),
                  std::end(image_detail::kResampleBuilds));
    return builds;
}

INSTANTIATE_TEST_SUITE_P(Variants, Resample, ::testing::ValuesIn(Builds()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace image_test
