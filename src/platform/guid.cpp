#include "platform/guid.h"

#include <cstring>

namespace platform {
namespace {

// Where each byte of the identifier stands in the text: the first three
// groups are written as numbers, so their bytes appear last byte first.
constexpr uint8_t kByteOrder[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
constexpr size_t kDashes[4] = {9, 14, 19, 24};

int hex_value(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return -1;
}

bool is_dash_position(size_t pos) {
    for (size_t dash : kDashes) {
        if (pos == dash) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool guid_from_text(const char* text, uint8_t id[16]) {
    if (text == nullptr || std::strlen(text) != guid_text_length || text[0] != '{' ||
        text[guid_text_length - 1] != '}') {
        return false;
    }
    uint8_t bytes[16];
    size_t digit = 0;
    for (size_t pos = 1; pos < guid_text_length - 1; ++pos) {
        if (is_dash_position(pos)) {
            if (text[pos] != '-') {
                return false;
            }
            continue;
        }
        const int value = hex_value(text[pos]);
        if (value < 0) {
            return false;
        }
        uint8_t& byte = bytes[kByteOrder[digit / 2]];
        byte = static_cast<uint8_t>(digit % 2 == 0 ? value << 4 : byte | value);
        ++digit;
    }
    std::memcpy(id, bytes, sizeof(bytes));
    return true;
}

void guid_to_text(const uint8_t id[16], char text[guid_text_length + 1]) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    size_t pos = 0;
    text[pos++] = '{';
    for (size_t i = 0; i < 16; ++i) {
        if (is_dash_position(pos)) {
            text[pos++] = '-';
        }
        const uint8_t byte = id[kByteOrder[i]];
        text[pos++] = kDigits[byte >> 4];
        text[pos++] = kDigits[byte & 0x0F];
    }
    text[pos++] = '}';
    text[pos] = '\0';
}

}  // namespace platform
