#include <cstring>

#include "image/finger_image_record.h"
#include "image/resample_rows.h"
#include "image/resample_variants.h"

namespace image_detail {
namespace {

enum class Isa { kBaseline, kSsse3, kAvx2, kAvx512 };

// The build's -O2 vectorises only loops that need no scalar remainder; the
// row loops here all have one, and pay for it many times over.
#define RIDGEX_VECTORIZE __attribute__((optimize("tree-vectorize", "vect-cost-model=dynamic")))

// out[i] = in[count - 1 - i].
template <Isa kIsa>
RIDGEX_IMAGE_INLINE void ReverseCopy(uint8_t* __restrict out, const uint8_t* __restrict in,
                                     uint64_t count) {
    if constexpr (kIsa == Isa::kBaseline) {
        // Without a byte shuffle the vectoriser gives up; eight bytes at a
        // time through a byte swap is the best the baseline offers.
        uint64_t i = 0;
        for (; i + 8 <= count; i += 8) {
            uint64_t word;
            std::memcpy(&word, in + count - 8 - i, 8);
            word = __builtin_bswap64(word);
            std::memcpy(out + i, &word, 8);
        }
        for (; i < count; ++i) {
            out[i] = in[count - 1 - i];
        }
    } else {
        // Vector stores that never straddle a cache line keep pace with a
        // plain vector copy; the loads cannot be aligned as well, the two
        // ends differ.
        const uint64_t head = std::min<uint64_t>(count, -reinterpret_cast<uintptr_t>(out) & 63);
        for (uint64_t i = 0; i < head; ++i) {
            out[i] = in[count - 1 - i];
        }
        // A run that ends before the boundary has nothing aligned to write;
        // its end must not be taken for an aligned address.
        if (head == count) {
            return;
        }
        uint8_t* __restrict aligned =
            static_cast<uint8_t*>(__builtin_assume_aligned(out + head, 64));
        const uint64_t rest = count - head;
        for (uint64_t i = 0; i < rest; ++i) {
            aligned[i] = in[rest - 1 - i];
        }
    }
}

// Rows are computed left to right. Turned, a row's pixels fill the block that
// mirrors its place, from that block's end: written backwards directly where
// the kernel can, else through a small buffer on the stack. The baseline has
// no byte shuffle to write backwards in vector registers, so it always takes
// the buffer, whose reversal goes eight bytes at a time.
constexpr uint32_t kTurnChunk = 2048;  // even, as DoubleRow needs
static_assert(kTurnChunk % 2 == 0);

// One call's arguments, handed down to the row loop.
struct Request {
    uint8_t* output;
    uint32_t output_width;
    uint32_t output_pixels;
    const uint8_t* source;
    uint32_t source_width;
    uint32_t source_height;
    uint32_t step;
    bool reverse;
};

template <Isa kIsa, typename Row>
RIDGEX_IMAGE_INLINE void ResampleRows(const Request& r) {
    const uint64_t last_row = r.source_height - 1;
    uint64_t written = 0;
    for (uint64_t y = 0; written < r.output_pixels; ++y) {
        const uint32_t count =
            static_cast<uint32_t>(std::min<uint64_t>(r.output_width, r.output_pixels - written));
        // Adding the step to a fraction row by row, and carrying its whole
        // pixels into the position, reaches exactly y × step.
        const uint64_t position = y * r.step;
        // A row below the image stands in as the image's last row.
        const SourceRows rows{r.source + std::min(position >> 8, last_row) * r.source_width,
                              r.source + std::min((position >> 8) + 1, last_row) * r.source_width,
                              r.source_width, static_cast<uint32_t>(position & 255), r.step};
        uint8_t* const turned_place = r.output + (r.output_pixels - written - count);
        if (!r.reverse) {
            Row::Run(r.output + written, 0, count, rows);
        } else if constexpr (Row::kTurnsInPlace && kIsa != Isa::kBaseline) {
            Row::template Run<true>(turned_place, 0, count, rows);
        } else {
            uint8_t chunk[kTurnChunk];
            for (uint32_t x0 = 0; x0 < count; x0 += kTurnChunk) {
                const uint32_t n = std::min(kTurnChunk, count - x0);
                Row::Run(chunk, x0, n, rows);
                ReverseCopy<kIsa>(turned_place + (count - x0 - n), chunk, n);
            }
        }
        written += count;
    }
}

template <Isa kIsa>
RIDGEX_IMAGE_INLINE void Resample(const Request& r) {
    if (r.step == 256) {
        if (r.reverse) {
            ReverseCopy<kIsa>(r.output, r.source, r.output_pixels);
        } else {
            std::memcpy(r.output, r.source, r.output_pixels);
        }
        return;
    }
    if (r.output_pixels == 0 || r.output_width == 0 || r.source_width == 0 ||
        r.source_height == 0) {
        return;
    }
    if (r.step == 512) {
        ResampleRows<kIsa, PickRow<2>>(r);
    } else if (r.step % 256 == 0) {
        ResampleRows<kIsa, PickRow<0>>(r);
    } else if (r.step == 128) {
        ResampleRows<kIsa, DoubleRow>(r);
    } else {
        ResampleRows<kIsa, GenericRow>(r);
    }
}

RIDGEX_VECTORIZE void ResampleBaseline(uint8_t* output, uint32_t output_width,
                                       uint32_t output_pixels, const uint8_t* source,
                                       uint32_t source_width, uint32_t source_height, uint32_t step,
                                       bool reverse) {
    Resample<Isa::kBaseline>(
        {output, output_width, output_pixels, source, source_width, source_height, step, reverse});
}

__attribute__((target("ssse3"))) RIDGEX_VECTORIZE void ResampleSsse3(
    uint8_t* output, uint32_t output_width, uint32_t output_pixels, const uint8_t* source,
    uint32_t source_width, uint32_t source_height, uint32_t step, bool reverse) {
    Resample<Isa::kSsse3>(
        {output, output_width, output_pixels, source, source_width, source_height, step, reverse});
}

__attribute__((target("avx2"))) RIDGEX_VECTORIZE void ResampleAvx2(
    uint8_t* output, uint32_t output_width, uint32_t output_pixels, const uint8_t* source,
    uint32_t source_width, uint32_t source_height, uint32_t step, bool reverse) {
    Resample<Isa::kAvx2>(
        {output, output_width, output_pixels, source, source_width, source_height, step, reverse});
}

__attribute__((target("avx512bw,avx512vl,prefer-vector-width=512"))) RIDGEX_VECTORIZE void
ResampleAvx512(uint8_t* output, uint32_t output_width, uint32_t output_pixels,
               const uint8_t* source, uint32_t source_width, uint32_t source_height, uint32_t step,
               bool reverse) {
    Resample<Isa::kAvx512>(
        {output, output_width, output_pixels, source, source_width, source_height, step, reverse});
}

// Reads of a word that libgcc fills at load time: no lock, no system call.
bool HasAvx512() {
    return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl");
}
bool HasAvx2() {
    return __builtin_cpu_supports("avx2");
}
bool HasSsse3() {
    return __builtin_cpu_supports("ssse3");
}
bool Everywhere() {
    return true;
}

}  // namespace

const ResampleBuild kResampleBuilds[4] = {
    {"avx512", &ResampleAvx512, &HasAvx512},
    {"avx2", &ResampleAvx2, &HasAvx2},
    {"ssse3", &ResampleSsse3, &HasSsse3},
    {"baseline", &ResampleBaseline, &Everywhere},
};

}  // namespace image_detail

void ResampleImage(uint8_t* output, uint32_t output_width, uint32_t output_pixels,
                   const uint8_t* source, uint32_t source_width, uint32_t source_height,
                   uint32_t step, bool reverse) {
    for (const image_detail::ResampleBuild& build : image_detail::kResampleBuilds) {
        if (build.supported()) {
            build.run(output, output_width, output_pixels, source, source_width, source_height,
                      step, reverse);
            return;
        }
    }
}
