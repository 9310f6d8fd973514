// Value types of the backend simulator's configuration that name the
// library's own codes. Each gives false for a text that is not a whole,
// valid value, and leaves `out` alone then.
#pragma once

#include <cstdint>
#include <string>

namespace sim {

// A status name of ridgex.h (RIDGEX_E_FAILURE) or a number.
bool parse_status(const std::string& text, uint32_t& out);
// A quality name of ridgex.h (RIDGEX_QUALITY_CODE_11) or a number.
bool parse_quality(const std::string& text, uint32_t& out);

}  // namespace sim
