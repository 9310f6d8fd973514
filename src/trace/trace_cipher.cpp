#include "trace/trace_cipher.h"

#include <cstring>

namespace SlvTraceNS {
namespace {

// The key is kept as words and masks; it is put together at run time on
// every call and so stands nowhere in the program as a whole.
constexpr uint32_t kKeyWords[4] = {0x5A1D3C77, 0x0B9E44F2, 0xC3716AD8, 0x9F02B51E};
constexpr uint32_t kKeyMasks[4] = {0x3E8F1A26, 0xD4475C93, 0x6B20F7E1, 0x1A9CD04B};
constexpr uint32_t kInitialY = 0x7C15E2A9;
constexpr uint32_t kInitialZ = 0x43D8B06F;

void BuildKey(uint32_t key[4]) {
    // Laid in a volatile block first, so the compiler cannot fold the key.
    volatile uint32_t block[4];
    for (int i = 0; i < 4; ++i) {
        block[i] = kKeyWords[i];
    }
    for (int i = 0; i < 4; ++i) {
        key[i] = block[i] ^ kKeyMasks[i];
    }
}

void PutLe(uint32_t word, uint8_t* out) {
    out[0] = static_cast<uint8_t>(word);
    out[1] = static_cast<uint8_t>(word >> 8);
    out[2] = static_cast<uint8_t>(word >> 16);
    out[3] = static_cast<uint8_t>(word >> 24);
}

uint32_t GetLe(const uint8_t* in) {
    return in[0] | (in[1] << 8) | (in[2] << 16) | (static_cast<uint32_t>(in[3]) << 24);
}

// Cipher feedback: each chunk of 8 bytes is XORed with the encrypted block,
// and the cipher text of the chunk becomes the next block.
void CipherFeedback(uint8_t* text, size_t length, bool encipher) {
    uint32_t key[4];
    BuildKey(key);
    uint8_t block[8];
    PutLe(kInitialY, block);
    PutLe(kInitialZ, block + 4);
    for (size_t done = 0; done < length; done += 8) {
        const size_t n = length - done < 8 ? length - done : 8;
        uint32_t y = GetLe(block);
        uint32_t z = GetLe(block + 4);
        EncryptBlock<RightShift::kArithmetic>(&y, &z, key);
        uint8_t stream[8];
        PutLe(y, stream);
        PutLe(z, stream + 4);
        uint8_t* chunk = text + done;
        if (encipher) {
            for (size_t i = 0; i < n; ++i) {
                chunk[i] ^= stream[i];
            }
            std::memcpy(block, chunk, n);
        } else {
            std::memcpy(block, chunk, n);
            for (size_t i = 0; i < n; ++i) {
                chunk[i] ^= stream[i];
            }
        }
    }
}

}  // namespace

void EncipherText(uint8_t* text, size_t length) {
    CipherFeedback(text, length, true);
}

void DecipherText(uint8_t* text, size_t length) {
    CipherFeedback(text, length, false);
}

}  // namespace SlvTraceNS
