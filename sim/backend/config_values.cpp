#include "config_values.h"

#include "config_text.h"
#include "ridgex_text.h"

namespace sim {
namespace {

// Whether `text` is `name`, a name from ridgex_text.h. Unknown codes are
// all named "UNKNOWN", so only a name of the library's own counts.
bool is_name_of(const std::string& text, const char* name) {
    return text.rfind("RIDGEX_", 0) == 0 && text == name;
}

// The library's own statuses are 0, RIDGEX_E_NO_MEMORY and the 0x05BA00xx
// family.
bool status_named(const std::string& text, uint32_t& out) {
    for (uint32_t code = 0x05BA0000u; code <= 0x05BA00FFu; ++code) {
        if (is_name_of(text, ridgex_status_name(code))) {
            out = code;
            return true;
        }
    }
    for (const uint32_t code : {RIDGEX_SUCCESS, RIDGEX_E_NO_MEMORY}) {
        if (is_name_of(text, ridgex_status_name(code))) {
            out = code;
            return true;
        }
    }
    return false;
}

// Quality values are 0 or one bit of the low 16.
bool quality_named(const std::string& text, uint32_t& out) {
    for (uint32_t bit = 0; bit <= 16; ++bit) {
        const uint32_t code = bit == 16 ? RIDGEX_QUALITY_GOOD : 1u << bit;
        if (is_name_of(text, ridgex_quality_name(code))) {
            out = code;
            return true;
        }
    }
    return false;
}

}  // namespace

bool parse_status(const std::string& text, uint32_t& out) {
    return status_named(text, out) || parse_number(text, UINT32_MAX, out);
}

bool parse_quality(const std::string& text, uint32_t& out) {
    return quality_named(text, out) || parse_number(text, UINT32_MAX, out);
}

}  // namespace sim
