// The machine's registry, stood in for by one read-only text file in the
// registry export format (".reg"): `$RIDGEX_REGISTRY`, else
// "/etc/ridgex/registry.reg". Every open of a key reads the file afresh, so an
// edit takes effect while a client runs. Only HKEY_LOCAL_MACHINE exists; key
// paths are given below it ("SOFTWARE\\Solvane\\Tracing"). Key paths and value
// names compare without regard to (ASCII) case. Results carry the numbers of
// the Windows registry calls, so callers read like the code they replace.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// Value types, numbered as in the Windows registry (so "hex(N):" is type N).
inline constexpr uint32_t reg_sz = 1;
inline constexpr uint32_t reg_expand_sz = 2;
inline constexpr uint32_t reg_binary = 3;
inline constexpr uint32_t reg_dword = 4;

inline constexpr int32_t reg_ok = 0;
inline constexpr int32_t reg_not_found = 2;        // ERROR_FILE_NOT_FOUND
inline constexpr int32_t reg_more_data = 234;      // ERROR_MORE_DATA
inline constexpr int32_t reg_no_more_items = 259;  // ERROR_NO_MORE_ITEMS

// The 64-bit programs' view, or the 32-bit one, in which "SOFTWARE\" reads as
// "SOFTWARE\WOW6432Node\".
enum class registry_view { native, wow64_32 };

struct registry_value {
    std::string name;  // UTF-8; "" is the key's default value ("@")
    uint32_t type = 0;
    std::vector<uint8_t> data;
};

// What one key holds: its values in the order of the file, and the names of
// its direct subkeys, sorted without regard to case as the Windows registry
// enumerates them.
struct registry_key_data {
    std::vector<registry_value> values;
    std::vector<std::string> subkeys;
};

// Parses `text`, the whole store, for the key at `path` (below
// HKEY_LOCAL_MACHINE). False when the text is no registry file or the key does
// not exist. A key exists when a section names it or a key below it. Lines
// that cannot be understood are skipped; the rest of the file still counts.
bool parse_registry_key(std::string_view text, std::string_view path, registry_key_data* key);

// Path of the store: `$RIDGEX_REGISTRY` if set, else the system's file.
std::string registry_file_path();

// An open key: a snapshot of the key as the file held it at the open.
class registry_key {
  public:
    // Reads the store and opens `path`. reg_not_found when the file is
    // missing, unreadable, no regular file, above 1 MiB or has no such key.
    int32_t open(std::string_view path, registry_view view = registry_view::native);
    // Opens `name` below this key, reading the store afresh.
    int32_t open_subkey(std::string_view name, registry_key* subkey) const;
    bool is_open() const { return open_; }

    // As RegQueryValueEx: `data` may be null to ask for the size only; too
    // little room gives reg_more_data with the needed size in `*size`.
    int32_t query_value(std::string_view name, uint32_t* type, void* data, uint32_t* size) const;
    // The name of the value at `index`, or reg_no_more_items.
    int32_t enum_value(uint32_t index, std::string* name) const;
    // The name of the subkey at `index`, or reg_no_more_items.
    int32_t enum_key(uint32_t index, std::string* name) const;

  private:
    bool open_ = false;
    std::string path_;
    registry_key_data data_;
};

}  // namespace platform
