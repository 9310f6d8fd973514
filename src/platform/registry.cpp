#include "platform/registry.h"

#include <algorithm>
#include <cstdlib>

#include "platform/regular_file.h"
#include "platform/utf16.h"

namespace platform {
namespace {

constexpr std::string_view kRoot = "HKEY_LOCAL_MACHINE\\";
constexpr std::string_view kSoftware = "SOFTWARE\\";
constexpr std::string_view kWow64Node = "WOW6432Node\\";

// ---- text helpers ---------------------------------------------------------

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool iequals(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                              [](char x, char y) { return lower(x) == lower(y); });
}

bool istarts_with(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && iequals(text.substr(0, prefix.size()), prefix);
}

std::string_view trim(std::string_view s) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    while (!s.empty() && blank(s.front())) {
        s.remove_prefix(1);
    }
    while (!s.empty() && blank(s.back())) {
        s.remove_suffix(1);
    }
    return s;
}

int hex_digit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    c = lower(c);
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// A number of 1 to `max_digits` hex digits, nothing else.
bool parse_hex_number(std::string_view s, size_t max_digits, uint32_t* value) {
    if (s.empty() || s.size() > max_digits) {
        return false;
    }
    *value = 0;
    for (char c : s) {
        const int d = hex_digit(c);
        if (d < 0) {
            return false;
        }
        *value = (*value << 4) | static_cast<uint32_t>(d);
    }
    return true;
}

class line_reader {
  public:
    explicit line_reader(std::string_view text) : text_(text) {}
    bool next(std::string_view* line) {
        if (pos_ >= text_.size()) {
            return false;
        }
        const size_t end = std::min(text_.find('\n', pos_), text_.size());
        *line = trim(text_.substr(pos_, end - pos_));
        pos_ = end + 1;
        return true;
    }

  private:
    std::string_view text_;
    size_t pos_ = 0;
};

// ---- value lines ------------------------------------------------------------

// A quoted string at `*pos` with the escapes \\ and \"; `*pos` ends behind
// the closing quote.
bool parse_quoted(std::string_view s, size_t* pos, std::string* out) {
    if (*pos >= s.size() || s[*pos] != '"') {
        return false;
    }
    out->clear();
    for (size_t i = *pos + 1; i < s.size(); ++i) {
        if (s[i] == '"') {
            *pos = i + 1;
            return true;
        }
        if (s[i] == '\\') {
            if (i + 1 >= s.size() || (s[i + 1] != '\\' && s[i + 1] != '"')) {
                return false;
            }
            ++i;
        }
        out->push_back(s[i]);
    }
    return false;
}

bool parse_hex_list(std::string_view list, std::vector<uint8_t>* bytes) {
    bytes->clear();
    if (trim(list).empty()) {
        return true;
    }
    while (true) {
        const size_t comma = list.find(',');
        uint32_t byte = 0;
        if (!parse_hex_number(trim(list.substr(0, comma)), 2, &byte)) {
            return false;
        }
        bytes->push_back(static_cast<uint8_t>(byte));
        if (comma == std::string_view::npos) {
            return true;
        }
        list.remove_prefix(comma + 1);
    }
}

bool parse_string_data(std::string_view data, registry_value* value) {
    size_t pos = 0;
    std::string text;
    std::u16string wide;
    if (!parse_quoted(data, &pos, &text) || !trim(data.substr(pos)).empty() ||
        !utf8_to_utf16(text, &wide)) {
        return false;
    }
    wide.push_back(u'\0');
    value->type = reg_sz;
    value->data.clear();
    for (char16_t unit : wide) {
        value->data.push_back(static_cast<uint8_t>(unit & 0xFF));
        value->data.push_back(static_cast<uint8_t>(unit >> 8));
    }
    return true;
}

// The text right of '=': a quoted string, dword:N, hex:list or hex(T):list.
bool parse_data(std::string_view data, registry_value* value) {
    if (!data.empty() && data.front() == '"') {
        return parse_string_data(data, value);
    }
    if (istarts_with(data, "dword:")) {
        uint32_t number = 0;
        if (!parse_hex_number(trim(data.substr(6)), 8, &number)) {
            return false;
        }
        value->type = reg_dword;
        value->data = {static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8),
                       static_cast<uint8_t>(number >> 16), static_cast<uint8_t>(number >> 24)};
        return true;
    }
    if (!istarts_with(data, "hex")) {
        return false;
    }
    data.remove_prefix(3);
    value->type = reg_binary;
    if (!data.empty() && data.front() == '(') {
        const size_t close = data.find(')');
        if (close == std::string_view::npos ||
            !parse_hex_number(data.substr(1, close - 1), 8, &value->type)) {
            return false;
        }
        data.remove_prefix(close + 1);
    }
    if (data.empty() || data.front() != ':') {
        return false;
    }
    return parse_hex_list(data.substr(1), &value->data);
}

// Splits `"Name"=data` or `@=data`.
bool split_value_line(std::string_view line, std::string* name, std::string_view* data) {
    size_t pos = 0;
    if (!line.empty() && line.front() == '@') {
        name->clear();
        pos = 1;
    } else if (!parse_quoted(line, &pos, name)) {
        return false;
    }
    const std::string_view rest = trim(line.substr(pos));
    if (rest.empty() || rest.front() != '=') {
        return false;
    }
    *data = trim(rest.substr(1));
    return true;
}

void store_value(registry_value value, std::vector<registry_value>* values) {
    for (auto& existing : *values) {
        if (iequals(existing.name, value.name)) {
            // The value keeps its place and its first spelling, as in a key
            // whose value is set again.
            existing.type = value.type;
            existing.data = std::move(value.data);
            return;
        }
    }
    values->push_back(std::move(value));
}

void note_subkey(std::string_view below, std::vector<std::string>* subkeys) {
    const std::string_view first = below.substr(0, below.find('\\'));
    if (first.empty()) {
        return;
    }
    for (const auto& known : *subkeys) {
        if (iequals(known, first)) {
            return;
        }
    }
    subkeys->emplace_back(first);
}

std::string lowered(std::string_view s) {
    std::string out(s);
    std::transform(out.begin(), out.end(), out.begin(), lower);
    return out;
}

// ---- the store file ---------------------------------------------------------

std::string key_path(std::string_view path, registry_view view) {
    std::string full(path);
    if (view == registry_view::wow64_32 && istarts_with(full, kSoftware)) {
        full.insert(kSoftware.size(), kWow64Node);
    }
    return full;
}

}  // namespace

bool parse_registry_key(std::string_view text, std::string_view path, registry_key_data* key) {
    constexpr std::string_view kBom = "\xEF\xBB\xBF";
    if (text.substr(0, kBom.size()) == kBom) {
        text.remove_prefix(kBom.size());
    }
    line_reader lines(text);
    std::string_view line;
    if (!lines.next(&line) ||
        (line != "Windows Registry Editor Version 5.00" && line != "REGEDIT4")) {
        return false;
    }
    const std::string target = std::string(kRoot) + std::string(path);
    *key = {};
    bool found = false;
    bool in_target = false;
    while (lines.next(&line)) {
        if (line.empty() || line.front() == ';') {
            continue;
        }
        if (line.front() == '[') {
            // A section that is cut, or one that deletes a key ("[-...]"),
            // selects nothing, so its value lines are skipped.
            std::string_view name = line.substr(1);
            in_target = false;
            if (line.back() != ']' || (!name.empty() && name.front() == '-')) {
                continue;
            }
            name.remove_suffix(1);
            while (!name.empty() && name.back() == '\\') {
                name.remove_suffix(1);
            }
            if (iequals(name, target)) {
                in_target = found = true;
            } else if (name.size() > target.size() && name[target.size()] == '\\' &&
                       istarts_with(name, target)) {
                found = true;
                note_subkey(name.substr(target.size() + 1), &key->subkeys);
            }
            continue;
        }
        registry_value value;
        std::string_view data;
        if (!split_value_line(line, &value.name, &data)) {
            continue;
        }
        // A hex list may go on over lines that end in a backslash.
        std::string joined(data);
        if (istarts_with(data, "hex")) {
            while (!joined.empty() && joined.back() == '\\' && lines.next(&line)) {
                joined.pop_back();
                joined.append(line);
            }
        }
        if (in_target && parse_data(joined, &value)) {
            store_value(std::move(value), &key->values);
        }
    }
    std::sort(key->subkeys.begin(), key->subkeys.end(),
              [](const std::string& a, const std::string& b) { return lowered(a) < lowered(b); });
    return found;
}

std::string registry_file_path() {
    const char* path = std::getenv("RIDGEX_REGISTRY");
    return path != nullptr ? path : "/etc/ridgex/registry.reg";
}

int32_t registry_key::open(std::string_view path, registry_view view) {
    open_ = false;
    data_ = {};
    path_ = key_path(path, view);
    std::string text;
    // Whatever cannot be read whole, also a FIFO, a device or a store above
    // the limit, holds no keys.
    if (read_regular_file(registry_file_path().c_str(), max_config_bytes, &text) != nullptr ||
        !parse_registry_key(text, path_, &data_)) {
        return reg_not_found;
    }
    open_ = true;
    return reg_ok;
}

int32_t registry_key::open_subkey(std::string_view name, registry_key* subkey) const {
    if (!open_) {
        return reg_not_found;
    }
    return subkey->open(path_ + "\\" + std::string(name));
}

int32_t registry_key::query_value(std::string_view name, uint32_t* type, void* data,
                                  uint32_t* size) const {
    for (const auto& value : data_.values) {
        if (!iequals(value.name, name)) {
            continue;
        }
        const auto needed = static_cast<uint32_t>(value.data.size());
        if (type != nullptr) {
            *type = value.type;
        }
        if (data != nullptr && (size == nullptr || *size < needed)) {
            if (size != nullptr) {
                *size = needed;
            }
            return reg_more_data;
        }
        if (data != nullptr) {
            std::copy(value.data.begin(), value.data.end(), static_cast<uint8_t*>(data));
        }
        if (size != nullptr) {
            *size = needed;
        }
        return reg_ok;
    }
    return reg_not_found;
}

int32_t registry_key::enum_value(uint32_t index, std::string* name) const {
    if (index >= data_.values.size()) {
        return reg_no_more_items;
    }
    *name = data_.values[index].name;
    return reg_ok;
}

int32_t registry_key::enum_key(uint32_t index, std::string* name) const {
    if (index >= data_.subkeys.size()) {
        return reg_no_more_items;
    }
    *name = data_.subkeys[index];
    return reg_ok;
}

}  // namespace platform
