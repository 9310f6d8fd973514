#include "trace/trace_registry.h"

#include <cstring>

#include "platform/utf16.h"

namespace SlvTraceNS {
namespace {

constexpr uint32_t kMaxStringBytes = 520;
constexpr uint32_t kNarrowRoom = 260;

bool IsStringType(uint32_t type) {
    return type == platform::reg_sz || type == platform::reg_expand_sz;
}

}  // namespace

bool OpenTracingKey(platform::registry_key* key) {
    return key->open(kTracingKeyPath) == platform::reg_ok ||
           key->open(kTracingKeyPath, platform::registry_view::wow64_32) == platform::reg_ok;
}

bool ReadDword(const platform::registry_key& key, std::string_view name, uint32_t* value) {
    uint8_t bytes[4] = {};
    uint32_t size = sizeof bytes;
    uint32_t type = 0;
    if (key.query_value(name, &type, bytes, &size) != platform::reg_ok ||
        type != platform::reg_dword) {
        return false;
    }
    *value =
        bytes[0] | (bytes[1] << 8) | (bytes[2] << 16) | (static_cast<uint32_t>(bytes[3]) << 24);
    return true;
}

bool ReadString(const platform::registry_key& key, std::string_view name, std::string* value) {
    uint8_t bytes[kMaxStringBytes];
    uint32_t size = sizeof bytes;
    uint32_t type = 0;
    if (key.query_value(name, &type, bytes, &size) != platform::reg_ok || !IsStringType(type) ||
        size % 2 != 0 || (size != 0 && (bytes[size - 2] != 0 || bytes[size - 1] != 0))) {
        return false;
    }
    const std::u16string wide = platform::utf16le_from_bytes(bytes, size);
    *value = platform::utf16_to_utf8(wide.data(), wide.size());
    return true;
}

int32_t ReadNarrow(const platform::registry_key& key, std::string_view name, std::string* value) {
    uint32_t type = 0;
    uint32_t size = 0;
    int32_t rc = key.query_value(name, &type, nullptr, &size);
    if (rc != platform::reg_ok) {
        return rc;
    }
    // Room is counted on the narrow form, as the ANSI query counts it.
    std::string bytes(size, '\0');
    rc = key.query_value(name, &type, bytes.data(), &size);
    if (rc != platform::reg_ok) {
        return rc;
    }
    std::string narrow = bytes;
    if (IsStringType(type)) {
        const std::u16string wide =
            platform::utf16le_from_bytes(reinterpret_cast<const uint8_t*>(bytes.data()), size);
        narrow = platform::utf16_to_utf8(wide.data(), wide.size());
    } else {
        narrow.resize(std::strlen(narrow.c_str()));
    }
    if (narrow.size() >= kNarrowRoom) {
        return platform::reg_more_data;
    }
    *value = narrow;
    return platform::reg_ok;
}

}  // namespace SlvTraceNS
