#include "trace/trace_config.h"

#include <mutex>

#include "platform/clock.h"
#include "platform/module_path.h"
#include "trace/trace_file_name.h"
#include "trace/trace_registry.h"
#include "trace/trace_statics.h"

namespace SlvTraceNS {

constinit std::atomic<uint32_t> flags_word{kStartFlags};
constinit std::atomic<uint32_t> next_check{0};
constinit int32_t verbosity = 0;
constinit bool module_enabled = true;

namespace {

constexpr size_t kMaxModuleName = 255;

bool SameName(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c; };
        if (lower(a[i]) != lower(b[i])) {
            return false;
        }
    }
    return true;
}

// Walks the value names of a module list; the module's own name gives
// `listed_verdict` and ends the walk.
void ListNames(const platform::registry_key& list, std::string_view module, bool listed_verdict,
               bool* enabled) {
    std::string name;
    for (uint32_t index = 0; list.enum_value(index, &name) == platform::reg_ok; ++index) {
        if (SameName(name, module)) {
            *enabled = listed_verdict;
            return;
        }
        if (listed_verdict) {
            // A Components list turns off every module that it does not name.
            *enabled = false;
        }
    }
}

// A configuration that cannot be read for want of memory switches tracing
// off, and the check stays due, so the next scope tries again.
[[gnu::noinline, gnu::cold]] void CheckConfig(uint32_t ticks) {
    try {
        platform::registry_key key;
        const uint32_t flags = OpenTracingKey(&key) ? BuildFlags(key) : 0;
        if (flags != flags_word.load(std::memory_order_relaxed)) {
            std::lock_guard lock(trace_lock);
            next_check.store(0, std::memory_order_relaxed);
            ApplyConfig(flags);
        }
        // The period counts from the tick taken before the registry was read.
        next_check.exchange(ticks + kCheckPeriodMs, std::memory_order_relaxed);
    } catch (...) {
        std::lock_guard lock(trace_lock);
        flags_word.store(0, std::memory_order_relaxed);
    }
}

}  // namespace

void Refresh() {
    const uint32_t ticks = platform::tick_count();
    const uint32_t due = next_check.load(std::memory_order_relaxed);
    if (ticks <= due || (due != 0 && CSignalSafeCall::Active())) {
        return;
    }
    CheckConfig(ticks);
}

uint32_t BuildFlags(const platform::registry_key& key) {
    uint32_t flags = 0;
    uint32_t value = 0;
    if (!ReadDword(key, "TraceToFile", &value) || value == 1) {
        flags |= kFlagToFile;
    }
    if (!ReadDword(key, "NewFileAlways", &value) || value != 0) {
        flags |= kFlagNewFile;
    }
    if (ReadDword(key, "DoTrace", &value) && value != 0) {
        flags |= kFlagTrace;
    }
    if (ReadDword(key, "DoLog", &value) && value != 0) {
        flags |= kFlagLog;
    }
    if (ReadDword(key, "DoProfiling", &value) && value != 0) {
        flags |= kFlagProfiling;
    }
    return flags;
}

void ApplyConfig(uint32_t flags) {
    const std::string module = ModuleName(platform::module_path());
    flags_word.store(flags, std::memory_order_relaxed);
    platform::registry_key key;
    if (!OpenTracingKey(&key)) {
        // Verbosity keeps its value; no list can be read.
        module_enabled = true;
        return;
    }
    uint32_t level = 0;
    verbosity = ReadDword(key, "Verbosity", &level) ? static_cast<int32_t>(level) : 0;
    module_enabled = true;
    // Components is walked last, so it beats ComponentsNOT.
    platform::registry_key list;
    if (key.open_subkey("ComponentsNOT", &list) == platform::reg_ok) {
        ListNames(list, module, false, &module_enabled);
    }
    if (key.open_subkey("Components", &list) == platform::reg_ok) {
        ListNames(list, module, true, &module_enabled);
    }
}

std::string ModuleName(std::string_view path) {
    const PathParts parts = SplitPath(path);
    std::string_view name = parts.name;
    if (parts.extension == ".so" && name.size() > 3 && name.substr(0, 3) == "lib") {
        name.remove_prefix(3);
    }
    return std::string(name.substr(0, kMaxModuleName));
}

}  // namespace SlvTraceNS
