#include "config_values.h"

#include <string_view>
#include <utility>

#include "config_text.h"
#include "ridgex.h"

namespace sim {
namespace {

using named_value = std::pair<std::string_view, uint32_t>;

constexpr named_value status_names[] = {
    {"RIDGEX_SUCCESS", RIDGEX_SUCCESS},
    {"RIDGEX_E_NO_MEMORY", RIDGEX_E_NO_MEMORY},
    {"RIDGEX_E_NOT_IMPLEMENTED", RIDGEX_E_NOT_IMPLEMENTED},
    {"RIDGEX_E_FAILURE", RIDGEX_E_FAILURE},
    {"RIDGEX_E_MORE_DATA", RIDGEX_E_MORE_DATA},
    {"RIDGEX_E_INVALID_PARAMETER", RIDGEX_E_INVALID_PARAMETER},
    {"RIDGEX_E_INVALID_DEVICE", RIDGEX_E_INVALID_DEVICE},
    {"RIDGEX_E_DEVICE_BUSY", RIDGEX_E_DEVICE_BUSY},
    {"RIDGEX_E_DEVICE_FAILURE", RIDGEX_E_DEVICE_FAILURE},
    {"RIDGEX_E_MODEL", RIDGEX_E_MODEL},
    {"RIDGEX_E_SCORER_INIT", RIDGEX_E_SCORER_INIT},
    {"RIDGEX_E_SCORING", RIDGEX_E_SCORING},
    {"RIDGEX_E_BAD_IMAGE", RIDGEX_E_BAD_IMAGE},
};

constexpr named_value quality_names[] = {
    {"RIDGEX_QUALITY_GOOD", RIDGEX_QUALITY_GOOD},
    {"RIDGEX_QUALITY_TIMED_OUT", RIDGEX_QUALITY_TIMED_OUT},
    {"RIDGEX_QUALITY_CANCELED", RIDGEX_QUALITY_CANCELED},
    {"RIDGEX_QUALITY_NO_IMAGE", RIDGEX_QUALITY_NO_IMAGE},
    {"RIDGEX_QUALITY_REJECTED", RIDGEX_QUALITY_REJECTED},
    {"RIDGEX_QUALITY_CODE_11", RIDGEX_QUALITY_CODE_11},
    {"RIDGEX_QUALITY_CODE_12", RIDGEX_QUALITY_CODE_12},
    {"RIDGEX_QUALITY_CODE_9", RIDGEX_QUALITY_CODE_9},
    {"RIDGEX_QUALITY_CODE_10", RIDGEX_QUALITY_CODE_10},
    {"RIDGEX_QUALITY_CODE_15", RIDGEX_QUALITY_CODE_15},
    {"RIDGEX_QUALITY_CODE_16", RIDGEX_QUALITY_CODE_16},
    {"RIDGEX_QUALITY_CODE_17", RIDGEX_QUALITY_CODE_17},
    {"RIDGEX_QUALITY_CODE_14", RIDGEX_QUALITY_CODE_14},
    {"RIDGEX_QUALITY_CODE_18", RIDGEX_QUALITY_CODE_18},
};

template <size_t N>
bool parse_named(const std::string& text, const named_value (&names)[N], uint32_t& out) {
    for (const auto& [name, value] : names) {
        if (text == name) {
            out = value;
            return true;
        }
    }
    return parse_number(text, UINT32_MAX, out);
}

}  // namespace

bool parse_status(const std::string& text, uint32_t& out) {
    return parse_named(text, status_names, out);
}

bool parse_quality(const std::string& text, uint32_t& out) {
    return parse_named(text, quality_names, out);
}

}  // namespace sim
