#include "platform/utf16.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Each length of UTF-8 at its bounds, the first surrogate pair (U+10000) and
// the last (0xDBFF 0xDFFF), both ways.
TEST(Utf16, ConvertsBothWaysAtTheBoundsOfEachLength) {
    struct {
        std::u16string wide;
        std::string utf8;
    } const cases[] = {
        {u"\u007F", "\x7F"},
        {u"\u0080\u07FF", "\xC2\x80\xDF\xBF"},
        {u"\u0800\uFFFF", "\xE0\xA0\x80\xEF\xBF\xBF"},
        {u"\U00010000", "\xF0\x90\x80\x80"},
        {u"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(platform::utf16_to_utf8(c.wide.data(), c.wide.size()), c.utf8) << c.utf8;
        std::u16string wide;
        EXPECT_TRUE(platform::utf8_to_utf16(c.utf8, &wide)) << c.utf8;
        EXPECT_EQ(wide, c.wide) << c.utf8;
    }
    // A pair cut by the count, and bytes no character starts with.
    EXPECT_EQ(platform::utf16_to_utf8(u"\U00010000", 1), "\xEF\xBF\xBD");
    std::u16string wide;
    EXPECT_FALSE(platform::utf8_to_utf16("\x80", &wide));
    EXPECT_FALSE(platform::utf8_to_utf16("\xF4\x90\x80\x80", &wide));  // beyond U+10FFFF
}

}  // namespace
