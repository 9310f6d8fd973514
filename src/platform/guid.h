// Text form of a 16-byte identifier, standing in for IIDFromString and
// StringFromGUID2: "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", with the bytes
// in the Windows layout (the first three groups are little-endian words of
// 32, 16 and 16 bits, the last eight bytes follow in order).
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

constexpr size_t guid_text_length = 38;

// Reads exactly 38 characters in braces, hexadecimal digits in either case,
// followed by the end of the text. False for anything else, with `id` left
// as it was.
bool guid_from_text(const char* text, uint8_t id[16]);

// Writes the 38 characters in upper case and a NUL into `text`.
void guid_to_text(const uint8_t id[16], char text[guid_text_length + 1]);

}  // namespace platform
