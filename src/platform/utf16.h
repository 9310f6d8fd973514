// Conversions between UTF-8, the narrow text of this system, and UTF-16LE,
// the wide text of the registry's strings and of the reader library's
// records. They stand in for MultiByteToWideChar and WideCharToMultiByte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

// False if `text` is not valid UTF-8; `out` then holds what came before.
bool utf8_to_utf16(std::string_view text, std::u16string* out);

// Stops at the first NUL unit or after `count` units. A unit that is not
// part of a valid pair becomes U+FFFD.
std::string utf16_to_utf8(const char16_t* text, size_t count);

// Reads UTF-16LE from bytes, which need not be aligned; an odd last byte is
// ignored.
std::u16string utf16le_from_bytes(const uint8_t* bytes, size_t size);

}  // namespace platform
