// The text format that every simulator's configuration file shares: one
// setting per line, `key = value`, sections in brackets, comments after `#`
// or `;` at the start of a line; and the value types that its settings use.
// Each value parser gives false for a text that is not a whole, valid value,
// and leaves `out` alone then.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
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

// One settable key of a section: its name and how its value is stored.
template <typename Config>
struct setting {
    std::string_view key;
    bool (*store)(Config& config, const std::string& value);
};

// Stores the value of `key` by the table: "" when it did, else what is
// wrong ("bad value 'x' for key", "unknown <kind> key 'key'").
template <typename Config, size_t N>
std::string apply_setting(const setting<Config> (&table)[N], const char* kind, Config& config,
                          const std::string& key, const std::string& value) {
    for (const auto& entry : table) {
        if (key == entry.key) {
            return entry.store(config, value) ? "" : "bad value '" + value + "' for " + key;
        }
    }
    return "unknown " + std::string(kind) + " key '" + key + "'";
}

// Stores for the common field types, for tables of settings.
template <auto field, typename Config>
bool store_text(Config& config, const std::string& value) {
    config.*field = value;
    return true;
}

// A number no wider than the field.
template <auto field, typename Config>
bool store_number(Config& config, const std::string& value) {
    using type = std::remove_reference_t<decltype(config.*field)>;
    uint32_t number;
    if (!parse_number(value, std::numeric_limits<type>::max(), number)) {
        return false;
    }
    config.*field = static_cast<type>(number);
    return true;
}

template <auto field, typename Config>
bool store_flag(Config& config, const std::string& value) {
    return parse_bool(value, config.*field);
}

// Exactly as many numbers as the array field holds.
template <auto field, typename Config>
bool store_number_array(Config& config, const std::string& value) {
    std::vector<uint32_t> numbers;
    if (!parse_number_list(value, numbers) || numbers.size() != (config.*field).size()) {
        return false;
    }
    std::copy(numbers.begin(), numbers.end(), (config.*field).begin());
    return true;
}

// Handlers of the lines of a configuration text; each gives "" for a line
// it took, else what is wrong with it. A section line comes whole and
// trimmed ("[reader]"); a setting comes as its trimmed key and value.
using section_handler = std::function<std::string(const std::string& line)>;
using setting_handler =
    std::function<std::string(const std::string& key, const std::string& value)>;

// Hands every line that is not blank or a comment to its handler, in order,
// and stops at the first problem: "" when there was none, else
// "line N: <problem>". A line that is neither a section nor has a `=` is
// "expected key = value".
std::string walk_config(const std::string& text, const section_handler& on_section,
                        const setting_handler& on_setting);

// The whole file; false with "<path>: cannot read: <reason>" in `error` if
// it cannot be read, is no regular file or holds more than 1 MiB.
bool read_config_file(const char* path, std::string& text, std::string& error);

}  // namespace sim
