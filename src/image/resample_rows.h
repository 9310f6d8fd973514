// Row kernels of the bilinear resampler. Each writes the output pixels
// x0 .. x0 + count - 1 of one output row to out[0 .. count - 1], with the
// bytes that the 8.8 fixed-point formula gives for them.
//
// Every kernel has a fast loop over the columns whose neighbours lie inside
// the row, written so that the compiler vectorises it, and hands the columns
// at the right edge to EdgePixel, the one place that substitutes missing
// neighbours. Everything is force-inlined so that the caller's instruction
// set and vectoriser settings apply.
#pragma once

#include <algorithm>
#include <cstdint>

#define RIDGEX_IMAGE_INLINE inline __attribute__((always_inline))

namespace image_detail {

// The two source rows that feed one output row.
struct SourceRows {
    const uint8_t* top;     // the row at the output row's position
    const uint8_t* bottom;  // the row below it; `top` again at the bottom edge
    uint32_t width;
    uint32_t fy;  // row fraction, 0 to 255
    uint32_t step;
};

// Sums stay below 2^24, so unsigned 32 bits never wrap, and the result is
// always below 256.
RIDGEX_IMAGE_INLINE uint8_t Blend(uint32_t top_left, uint32_t top_right, uint32_t bottom_left,
                                  uint32_t bottom_right, uint32_t fx, uint32_t fy) {
    const uint32_t top = top_left * (256 - fx) + top_right * fx;
    const uint32_t bottom = bottom_left * (256 - fx) + bottom_right * fx;
    return static_cast<uint8_t>((top * (256 - fy) + bottom * fy) >> 16);
}

// Any output pixel, with clamped columns: a neighbour beyond the right edge
// is the last pixel of its row. The stand-in only ever meets a weight fx > 0,
// since with fx 0 the neighbour's product is 0 whatever it holds.
RIDGEX_IMAGE_INLINE uint8_t EdgePixel(const SourceRows& rows, uint64_t x) {
    const uint64_t position = x * rows.step;
    const uint64_t last = rows.width - 1;
    const uint64_t left = std::min(position >> 8, last);
    const uint64_t right = std::min((position >> 8) + 1, last);
    return Blend(rows.top[left], rows.top[right], rows.bottom[left], rows.bottom[right],
                 position & 255, rows.fy);
}

// Writes output pixel x to out[x - x0], or turned, to out[count - 1 - (x - x0)].
template <bool kTurned>
RIDGEX_IMAGE_INLINE void Put(uint8_t* out, uint64_t count, uint64_t i, uint8_t value) {
    out[kTurned ? count - 1 - i : i] = value;
}

template <bool kTurned = false>
RIDGEX_IMAGE_INLINE void EdgePixels(uint8_t* out, uint64_t x, uint64_t x0, uint64_t count,
                                    const SourceRows& rows) {
    for (; x < x0 + count; ++x) {
        Put<kTurned>(out, count, x - x0, EdgePixel(rows, x));
    }
}

// Any step: the formula as it stands, one pixel at a time.
struct GenericRow {
    static constexpr bool kTurnsInPlace = false;
    static RIDGEX_IMAGE_INLINE void Run(uint8_t* __restrict out, uint32_t x0, uint32_t count,
                                        const SourceRows& rows) {
        const uint64_t end = uint64_t{x0} + count;
        // Columns x with x × step < (width - 1) × 256 have a right neighbour.
        uint64_t inner_end = 0;
        if (rows.width > 1) {
            inner_end = rows.step == 0
                            ? end
                            : ((uint64_t{rows.width} - 1) * 256 + rows.step - 1) / rows.step;
        }
        inner_end = std::min(inner_end, end);
        const uint8_t* __restrict top = rows.top;
        const uint8_t* __restrict bottom = rows.bottom;
        uint64_t x = x0;
        for (; x < inner_end; ++x) {
            const uint64_t position = x * rows.step;
            const uint64_t c = position >> 8;
            out[x - x0] =
                Blend(top[c], top[c + 1], bottom[c], bottom[c + 1], position & 255, rows.fy);
        }
        EdgePixels(out, x, x0, count, rows);
    }
};

// Steps that are whole pixels (a multiple of 256): both fractions stay 0, so
// every output pixel is one source pixel and no neighbour counts.
// kStride 0 takes the stride from the step.
template <uint32_t kStride>
struct PickRow {
    // The compiler can store a strided pick backwards in vector registers,
    // so a turned row needs no detour through a buffer.
    static constexpr bool kTurnsInPlace = true;

    template <bool kTurned = false>
    static RIDGEX_IMAGE_INLINE void Run(uint8_t* __restrict out, uint32_t x0, uint32_t count,
                                        const SourceRows& rows) {
        const uint32_t stride = kStride != 0 ? kStride : rows.step >> 8;
        const uint64_t end = uint64_t{x0} + count;
        const uint64_t inner_end =
            stride == 0 ? end : std::min(end, uint64_t{rows.width - 1} / stride + 1);
        const uint64_t inner = inner_end > x0 ? inner_end - x0 : 0;
        const uint8_t* __restrict in = rows.top + uint64_t{x0} * stride;
        for (uint64_t i = 0; i < inner; ++i) {
            Put<kTurned>(out, count, i, in[i * stride]);
        }
        EdgePixels<kTurned>(out, x0 + inner, x0, count, rows);
    }
};

// Step 128, twice the resolution: fractions alternate between 0 and 128, and
// the formula comes down to means of two or four pixels, remainder dropped.
// x0 must be even.
struct DoubleRow {
    static constexpr bool kTurnsInPlace = false;
    static RIDGEX_IMAGE_INLINE void Run(uint8_t* __restrict out, uint32_t x0, uint32_t count,
                                        const SourceRows& rows) {
        const uint64_t first = x0 / 2;
        // Pair i is the pixel on source column i and the one halfway to i + 1.
        const uint64_t inner_pairs = rows.width - 1 > first ? rows.width - 1 - first : 0;
        const uint64_t pairs = std::min<uint64_t>(count / 2, inner_pairs);
        const uint8_t* __restrict t = rows.top + first;
        const uint8_t* __restrict b = rows.bottom + first;
        if (rows.fy == 0) {
            for (uint64_t i = 0; i < pairs; ++i) {
                out[2 * i] = t[i];
                out[2 * i + 1] = static_cast<uint8_t>((t[i] + t[i + 1]) >> 1);
            }
        } else {
            for (uint64_t i = 0; i < pairs; ++i) {
                out[2 * i] = static_cast<uint8_t>((t[i] + b[i]) >> 1);
                out[2 * i + 1] = static_cast<uint8_t>((t[i] + t[i + 1] + b[i] + b[i + 1]) >> 2);
            }
        }
        EdgePixels(out, x0 + 2 * pairs, x0, count, rows);
    }
};

}  // namespace image_detail
