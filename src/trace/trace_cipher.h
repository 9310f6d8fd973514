// The cipher of a record's text: TEA in cipher feedback mode, with a key and
// an initial block that are constants of the project, and with the one
// difference from the published cipher that its right shifts are arithmetic.
// The state starts afresh for every record, so each record deciphers alone
// and equal texts give equal bytes. Shared by the writer and the reader tool.
#pragma once

#include <cstddef>
#include <cstdint>

namespace SlvTraceNS {

enum class RightShift { kLogical, kArithmetic };

// 32 rounds of TEA over the block (y, z). kLogical is the published cipher;
// the trace files use kArithmetic, which repeats the sign bit.
template <RightShift kShift>
void EncryptBlock(uint32_t* y, uint32_t* z, const uint32_t key[4]) {
    constexpr uint32_t kDelta = 0x9E3779B9;
    const auto shift_right5 = [](uint32_t v) {
        if constexpr (kShift == RightShift::kArithmetic) {
            return static_cast<uint32_t>(static_cast<int32_t>(v) >> 5);
        } else {
            return v >> 5;
        }
    };
    uint32_t sum = 0;
    for (int round = 0; round < 32; ++round) {
        sum += kDelta;
        *y += ((*z << 4) + key[0]) ^ (*z + sum) ^ (shift_right5(*z) + key[1]);
        *z += ((*y << 4) + key[2]) ^ (*y + sum) ^ (shift_right5(*y) + key[3]);
    }
}

// Enciphers or deciphers `length` bytes of a record's text in place.
void EncipherText(uint8_t* text, size_t length);
void DecipherText(uint8_t* text, size_t length);

}  // namespace SlvTraceNS
