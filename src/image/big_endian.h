// Big-endian stores for the fixed-width numbers of a record: the most
// significant byte at the lowest offset, whatever the machine's order.
#pragma once

#include <cstdint>

// Stores the low 16 bits of `value`.
inline void StoreBigEndian16(uint8_t* out, uint32_t value) {
    out[0] = static_cast<uint8_t>(value >> 8);
    out[1] = static_cast<uint8_t>(value);
}

inline void StoreBigEndian32(uint8_t* out, uint32_t value) {
    out[0] = static_cast<uint8_t>(value >> 24);
    out[1] = static_cast<uint8_t>(value >> 16);
    out[2] = static_cast<uint8_t>(value >> 8);
    out[3] = static_cast<uint8_t>(value);
}
