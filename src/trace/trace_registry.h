// Reading the trace configuration's values with the rules for when a value
// counts. A value that does not count is the same as no value.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/registry.h"

namespace SlvTraceNS {

inline constexpr std::string_view kTracingKeyPath = "SOFTWARE\\Solvane\\Tracing";
inline constexpr std::string_view kPolicyKeyPath = "SOFTWARE\\Policies\\Solvane";
inline constexpr std::string_view kProductsKeyPath = "SOFTWARE\\Solvane\\Products";

// The tracing key in the native view, else in the 32-bit view.
bool OpenTracingKey(platform::registry_key* key);

// Counts when the query succeeds and the type is REG_DWORD.
bool ReadDword(const platform::registry_key& key, std::string_view name, uint32_t* value);

// Counts when the type is REG_SZ or REG_EXPAND_SZ, the stored size is at
// most 520 bytes and either 0 (an empty string) or even with a terminating
// NUL as its last wide character. The text comes back as UTF-8.
bool ReadString(const platform::registry_key& key, std::string_view name, std::string* value);

// A value read as narrow text without looking at its type, in room for 260
// bytes, as the product lines of a file's head want it: strings come back
// as UTF-8, anything else as its bytes up to the first NUL. The registry's
// result code, 0 on success.
int32_t ReadNarrow(const platform::registry_key& key, std::string_view name, std::string* value);

}  // namespace SlvTraceNS
