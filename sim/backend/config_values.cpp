#include "config_values.h"

#include <sstream>
#include <string_view>
#include <utility>

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

int digit_value(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return 99;
}

}  // namespace

std::string trim(const std::string& text) {
    const char* blanks = " \t\r\n";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool parse_number(const std::string& text, uint32_t max, uint32_t& out) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const uint64_t base = hex ? 16 : 10;
    const size_t start = hex ? 2 : 0;
    if (text.size() <= start) {
        return false;
    }
    uint64_t value = 0;
    for (size_t i = start; i < text.size(); ++i) {
        const int digit = digit_value(text[i]);
        if (static_cast<uint64_t>(digit) >= base) {
            return false;
        }
        value = value * base + static_cast<uint64_t>(digit);
        if (value > max) {
            return false;
        }
    }
    out = static_cast<uint32_t>(value);
    return true;
}

bool parse_number_list(const std::string& text, std::vector<uint32_t>& out) {
    std::istringstream words(text);
    std::vector<uint32_t> values;
    std::string word;
    while (words >> word) {
        uint32_t value;
        if (!parse_number(word, UINT32_MAX, value)) {
            return false;
        }
        values.push_back(value);
    }
    if (values.empty()) {
        return false;
    }
    out = std::move(values);
    return true;
}

bool parse_bool(const std::string& text, bool& out) {
    if (text == "yes" || text == "true" || text == "on" || text == "1") {
        out = true;
        return true;
    }
    if (text == "no" || text == "false" || text == "off" || text == "0") {
        out = false;
        return true;
    }
    return false;
}

bool parse_version(const std::string& text, std::array<uint32_t, 3>& out) {
    std::array<uint32_t, 3> parts{};
    size_t start = 0;
    size_t part = 0;
    for (;;) {
        const size_t dot = text.find('.', start);
        const std::string piece = text.substr(start, dot == std::string::npos ? dot : dot - start);
        if (part == parts.size() || !parse_number(piece, INT32_MAX, parts[part])) {
            return false;
        }
        ++part;
        if (dot == std::string::npos) {
            break;
        }
        start = dot + 1;
    }
    if (part < 2) {
        return false;
    }
    out = parts;
    return true;
}

bool parse_status(const std::string& text, uint32_t& out) {
    return parse_named(text, status_names, out);
}

bool parse_quality(const std::string& text, uint32_t& out) {
    return parse_named(text, quality_names, out);
}

}  // namespace sim
