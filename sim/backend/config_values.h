// The value types of the configuration file. Each parser gives false for a
// text that is not a whole, valid value, and leaves `out` alone then.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace sim {

std::string trim(const std::string& text);

// Decimal, or hexadecimal with 0x; at most `max`.
bool parse_number(const std::string& text, uint32_t max, uint32_t& out);
// Numbers separated by blanks; at least one.
bool parse_number_list(const std::string& text, std::vector<uint32_t>& out);
// yes/no, true/false, on/off, 1/0.
bool parse_bool(const std::string& text, bool& out);
// "major.minor" or "major.minor.maintenance".
bool parse_version(const std::string& text, std::array<uint32_t, 3>& out);
// A status name of ridgex.h (RIDGEX_E_FAILURE) or a number.
bool parse_status(const std::string& text, uint32_t& out);
// A quality name of ridgex.h (RIDGEX_QUALITY_CODE_11) or a number.
bool parse_quality(const std::string& text, uint32_t& out);

}  // namespace sim
