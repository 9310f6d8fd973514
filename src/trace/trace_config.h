// The trace configuration: the switches read from the registry key
// "SOFTWARE\Solvane\Tracing" at most once in 30 seconds, the flags word that
// they make, the verbosity and the module filters.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/call_depth.h"
#include "platform/registry.h"

namespace SlvTraceNS {

// Bits of the flags word.
inline constexpr uint32_t kFlagToFile = 0x04;     // TraceToFile is 1 or absent
inline constexpr uint32_t kFlagNewFile = 0x08;    // NewFileAlways absent or not 0
inline constexpr uint32_t kFlagTrace = 0x20;      // DoTrace: every trace operation
inline constexpr uint32_t kFlagProfiling = 0x40;  // DoProfiling: no messages
inline constexpr uint32_t kFlagLog = 0x80;        // DoLog: change detection only

inline constexpr uint32_t kStartFlags = kFlagTrace;
inline constexpr uint32_t kCheckPeriodMs = 30000;

// Read without the lock by every scope.
extern std::atomic<uint32_t> flags_word;
// Tick count after which Refresh reads the configuration again.
extern std::atomic<uint32_t> next_check;
// Read and written under the trace lock only.
extern int32_t verbosity;
extern bool module_enabled;

// Reads the configuration again if the period has passed; called first by
// every scope's constructor. Between two checks it costs a tick count and a
// comparison.
void Refresh();

// Marks the calls that a client may make from a signal handler (a cancel, a
// close). While the calling thread is in one, its scopes leave the registry
// alone, since reading it allocates and allocation is not async-signal-safe;
// the next scope elsewhere catches up. Only the very first configuration of
// the process is read even there, as tracing has no switches before it.
// A call that finds its thread already inside the library came from a
// handler that interrupted it: call_depth::Interrupting() holds until it ends.
class CSignalSafeCall {
  public:
    CSignalSafeCall() : nested_(call_depth::inside != 0) {
        ++depth_;
        call_depth::interrupting += nested_;
    }
    ~CSignalSafeCall() {
        --depth_;
        call_depth::interrupting -= nested_;
    }
    CSignalSafeCall(const CSignalSafeCall&) = delete;
    CSignalSafeCall& operator=(const CSignalSafeCall&) = delete;

    static bool Active() { return depth_ != 0; }

  private:
    const uint32_t nested_;
    // Initial-exec: no allocation on first use, also in a loaded library.
    static inline thread_local uint32_t depth_ __attribute__((tls_model("initial-exec"))) = 0;
};

// Takes a new flags word: stores it, reads Verbosity and the module filters.
// Called with the trace lock held.
void ApplyConfig(uint32_t flags);

// The flags word that the values of an open tracing key make.
uint32_t BuildFlags(const platform::registry_key& key);

// The name by which the Components and ComponentsNOT lists know a module:
// its file name without folder, without a leading "lib" and without ".so"
// and any version after it ("libridgex.so.3" is "ridgex"); other files lose
// their extension.
std::string ModuleName(std::string_view path);

}  // namespace SlvTraceNS
