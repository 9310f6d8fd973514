#include "trace/trace_cipher.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace SlvTraceNS;

std::string Enciphered(std::string text) {
    EncipherText(reinterpret_cast<uint8_t*>(text.data()), text.size());
    return text;
}

// With a logical shift the rounds give the published vector; the file's
// arithmetic shift must give something else.
TEST(TraceCipher, LogicalShiftGivesThePublishedVectorAndFeedbackChunksOfEight) {
    const uint32_t zero_key[4] = {0, 0, 0, 0};
    uint32_t y = 0, z = 0;
    EncryptBlock<RightShift::kLogical>(&y, &z, zero_key);
    EXPECT_EQ(y, 0x41EA3A0Au);
    EXPECT_EQ(z, 0x94BAA940u);
    y = z = 0;
    EncryptBlock<RightShift::kArithmetic>(&y, &z, zero_key);
    EXPECT_FALSE(y == 0x41EA3A0Au && z == 0x94BAA940u);
    const std::string nine = Enciphered("123456789");
    // The first block depends only on the initial block; the ninth byte on
    // the cipher text before it.
    EXPECT_EQ(nine.substr(0, 8), Enciphered("12345678"));
    EXPECT_EQ(nine[8] ^ Enciphered("12345678X")[8], '9' ^ 'X');
    EXPECT_EQ(Enciphered("123456789"), nine);  // no state across records
    std::string back = nine;
    DecipherText(reinterpret_cast<uint8_t*>(back.data()), back.size());
    EXPECT_EQ(back, "123456789");
}

}  // namespace
