// Properties of the resampler over many random sizes and resolutions, each
// compared with the literal reference. Sources live in blocks of exactly
// width × height bytes, so an AddressSanitizer build catches any read beyond.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "reference_resampler.h"
#include "resample_variant.h"

namespace image_test {
namespace {

using Bytes = std::vector<uint8_t>;

struct Case {
    uint32_t width;
    uint32_t height;
    uint32_t resolution;
    uint32_t output_resolution;
};

// Reader resolutions, with the odd ones that give steps off the fast paths.
constexpr uint32_t kResolutions[] = {3, 5, 96, 250, 300, 333, 362, 500, 501, 600, 700, 1000, 1200};

std::vector<Case> RandomCases(uint32_t seed, int count) {
    std::mt19937 random(seed);
    auto pick = [&](uint32_t low, uint32_t high) {
        return std::uniform_int_distribution<uint32_t>(low, high)(random);
    };
    std::vector<Case> cases;
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
    // Steps of whole pixels, 0 included, and the usual reader conversions.
    cases.push_back({37, 23, 500, 250});
    cases.push_back({38, 24, 1000, 500});
    cases.push_back({40, 30, 750, 250});
    cases.push_back({5, 4, 1, 300});
    cases.push_back({41, 33, 500, 1000});
    cases.push_back({2500, 3, 500, 1000});
    cases.push_back({1, 1, 500, 1000});
    cases.push_back({1, 7, 500, 700});
    return cases;
}

// The image in a heap block of exactly its size.
struct ExactImage {
    std::unique_ptr<uint8_t[]> block;
    uint32_t width;
    uint32_t height;

    ExactImage(uint32_t w, uint32_t h, std::mt19937& random)
        : block(new uint8_t[uint64_t{w} * h]), width(w), height(h) {
        std::uniform_int_distribution<int> byte(0, 255);
        std::generate_n(block.get(), uint64_t{w} * h, [&] { return byte(random); });
    }
    SourceImage view() const { return {block.get(), width, height}; }
};

class ResampleProperties : public ResampleVariantTest {
  protected:
    Bytes Run(const ExactImage& image, const Geometry& g, bool reverse) const {
        Bytes out(g.pixels());
        resample()(out.data(), g.output_width, g.pixels(), image.block.get(), image.width,
                   image.height, g.step, reverse);
        return out;
    }
};

std::string Describe(const Case& c, const Geometry& g) {
    return std::to_string(c.width) + "x" + std::to_string(c.height) + " " +
           std::to_string(c.resolution) + "->" + std::to_string(c.output_resolution) + " step " +
           std::to_string(g.step);
}

// Also with more output than the source can feed: positions beyond the edges
// take the nearest pixel just as missing neighbours do, and nothing is read
// outside the block. (The copy path has no such reserve.)
TEST_P(ResampleProperties, MatchesReferenceBothWaysAlsoOversized) {
    std::mt19937 random(11);
    for (const Case& c : RandomCases(1, 400)) {
        const ExactImage image(c.width, c.height, random);
        const Geometry exact = GeometryFor(c.width, c.height, c.resolution, c.output_resolution);
        Geometry oversized = exact;
        oversized.output_width += 1 + random() % 5;
        oversized.output_height += 1 + random() % 5;
        for (int sizes = exact.step == 256 ? 1 : 2; sizes > 0; --sizes) {
            const Geometry& g = sizes == 2 ? oversized : exact;
            for (bool reverse : {false, true}) {
                const ReferenceResult expected =
                    ReferenceResample(image.view(), g.output_width, g.pixels(), g.step, reverse,
                                      Outside::kRepeatEdge);
                ASSERT_EQ(Run(image, g, reverse), expected.pixels)
                    << Describe(c, g) << (reverse ? " turned" : "");
            }
        }
    }
}

TEST_P(ResampleProperties, EdgeStandInOnlyMattersWhereItWeighs) {
    // Behind the image lies noise that a bare pointer walk would read. Every
    // pixel whose neighbours beyond the edge all weigh 0 must come out as
    // that walk gives it, whatever the noise.
    std::mt19937 random(12);
    std::uniform_int_distribution<int> byte(0, 255);
    for (const Case& c : RandomCases(2, 300)) {
        const ExactImage image(c.width, c.height, random);
        const Geometry g = GeometryFor(c.width, c.height, c.resolution, c.output_resolution);
        Bytes padded(image.block.get(), image.block.get() + uint64_t{c.width} * c.height);
        padded.resize(padded.size() + c.width + 1);
        std::generate(padded.end() - c.width - 1, padded.end(), [&] { return byte(random); });
        const ReferenceResult raw =
            ReferenceResample({padded.data(), c.width, c.height}, g.output_width, g.pixels(),
                              g.step, false, Outside::kRawMemory);
        const Bytes out = Run(image, g, false);
        for (uint32_t i = 0; i < g.pixels(); ++i) {
            if (!raw.used_outside[i]) {
                ASSERT_EQ(out[i], raw.pixels[i]) << Describe(c, g) << " pixel " << i;
            }
        }
    }
}

TEST_P(ResampleProperties, TurnedOutputIsPlainOutputTurned) {
    std::mt19937 random(13);
    for (const Case& c : RandomCases(3, 200)) {
        const ExactImage image(c.width, c.height, random);
        const Geometry g = GeometryFor(c.width, c.height, c.resolution, c.output_resolution);
        const Bytes plain = Run(image, g, false);
        ASSERT_EQ(Run(image, g, true), Bytes(plain.rbegin(), plain.rend())) << Describe(c, g);
    }
}

TEST_P(ResampleProperties, HalfStepPicksEverySecondPixelOfEverySecondRow) {
    std::mt19937 random(14);
    for (const Case& c : RandomCases(4, 200)) {
        const ExactImage image(c.width, c.height, random);
        const Geometry g{c.width / 2, c.height / 2, 512};
        const Bytes out = Run(image, g, false);
        for (uint32_t y = 0; y < g.output_height; ++y) {
            for (uint32_t x = 0; x < g.output_width; ++x) {
                ASSERT_EQ(out[y * g.output_width + x], image.block[2 * y * c.width + 2 * x])
                    << c.width << "x" << c.height << " at " << x << "," << y;
            }
        }
    }
}

TEST_P(ResampleProperties, ConstantImageStaysConstant) {
    std::mt19937 random(15);
    for (const Case& c : RandomCases(5, 150)) {
        for (uint8_t value : {uint8_t{0}, uint8_t{1}, uint8_t{128}, uint8_t{255}}) {
            ExactImage image(c.width, c.height, random);
            std::fill_n(image.block.get(), uint64_t{c.width} * c.height, value);
            const Geometry g = GeometryFor(c.width, c.height, c.resolution, c.output_resolution);
            for (bool reverse : {false, true}) {
                const Bytes out = Run(image, g, reverse);
                ASSERT_EQ(std::count(out.begin(), out.end(), value),
                          static_cast<std::ptrdiff_t>(out.size()))
                    << Describe(c, g) << " value " << int{value};
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Variants, ResampleProperties, ::testing::ValuesIn(ResampleVariants()),
                         VariantName);

}  // namespace
}  // namespace image_test
