#include "platform/utf16.h"

namespace platform {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

void append_utf8(char32_t c, std::string* out) {
    if (c < 0x80) {
        out->push_back(static_cast<char>(c));
    } else if (c < 0x800) {
        out->push_back(static_cast<char>(0xC0 | (c >> 6)));
        out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
        out->push_back(static_cast<char>(0xE0 | (c >> 12)));
        out->push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
        out->push_back(static_cast<char>(0xF0 | (c >> 18)));
        out->push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
}

// Decodes one character at `*pos`; false for a bad sequence, an overlong
// form, a surrogate or a value beyond U+10FFFF.
bool next_utf8(std::string_view text, size_t* pos, char32_t* c) {
    const auto lead = static_cast<uint8_t>(text[*pos]);
    size_t extra = 0;
    char32_t value = 0;
    char32_t minimum = 0;
    if (lead < 0x80) {
        value = lead;
    } else if ((lead & 0xE0) == 0xC0) {
        extra = 1, value = lead & 0x1F, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        extra = 2, value = lead & 0x0F, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        extra = 3, value = lead & 0x07, minimum = 0x10000;
    } else {
        return false;
    }
    if (*pos + extra >= text.size()) {
        return false;
    }
    for (size_t i = 1; i <= extra; ++i) {
        const auto next = static_cast<uint8_t>(text[*pos + i]);
        if ((next & 0xC0) != 0x80) {
            return false;
        }
        value = (value << 6) | (next & 0x3F);
    }
    if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
        return false;
    }
    *pos += extra + 1;
    *c = value;
    return true;
}

}  // namespace

bool utf8_to_utf16(std::string_view text, std::u16string* out) {
    out->clear();
    size_t pos = 0;
    while (pos < text.size()) {
        char32_t c = 0;
        if (!next_utf8(text, &pos, &c)) {
            return false;
        }
        if (c >= 0x10000) {
            c -= 0x10000;
            out->push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
            out->push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
        } else {
            out->push_back(static_cast<char16_t>(c));
        }
    }
    return true;
}

std::string utf16_to_utf8(const char16_t* text, size_t count) {
    std::string out;
    for (size_t i = 0; i < count && text[i] != 0; ++i) {
        const char16_t unit = text[i];
        const bool high = unit >= 0xD800 && unit <= 0xDBFF;
        const bool low = unit >= 0xDC00 && unit <= 0xDFFF;
        if (high && i + 1 < count && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            append_utf8(0x10000 + ((unit - 0xD800) << 10) + (text[i + 1] - 0xDC00), &out);
            ++i;
        } else {
            append_utf8(high || low ? kReplacement : unit, &out);
        }
    }
    return out;
}

std::u16string utf16le_from_bytes(const uint8_t* bytes, size_t size) {
    std::u16string out(size / 2, u'\0');
    for (size_t i = 0; i < out.size(); ++i) {
        out[i] = static_cast<char16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
    }
    return out;
}

}  // namespace platform
