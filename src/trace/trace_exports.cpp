// The trace exports: a trace scope for callers outside the library. The
// handle is the scope itself and is not checked beyond the test for null.
// Whatever fails on the way only costs the record.
#include <cstdint>
#include <new>

#include "base/boundary.h"
#include "ridgex.h"
#include "trace/trace_scope.h"

using SlvTraceNS::CTraceScope;

extern "C" __attribute__((visibility("default"))) void ridgex_trace_start(const char* name,
                                                                          void** scope) {
    // Tracing is only switched from outside: the scope exists, and writes
    // something, whatever the configuration says at this moment.
    AtBoundary([&] {
        auto* opened = new (std::nothrow) CTraceScope(name, 0);
        if (scope != nullptr) {
            *scope = opened;
        } else {
            delete opened;
        }
    });
}

extern "C" __attribute__((visibility("default"))) void ridgex_trace_dispose(void* scope) {
    AtBoundary([&] { delete static_cast<CTraceScope*>(scope); });
}

extern "C" __attribute__((visibility("default"))) void ridgex_trace(void* scope,
                                                                    const char* format) {
    // The caller passes no values, so the text is written as it stands: a
    // percent sign in it never makes the formatter read a missing value.
    if (scope != nullptr) {
        AtBoundary([&] { static_cast<CTraceScope*>(scope)->Text(format); });
    }
}

extern "C" __attribute__((visibility("default"))) void ridgex_trace_error(void* scope,
                                                                          const char* message,
                                                                          uint32_t code) {
    if (scope != nullptr) {
        AtBoundary([&] { static_cast<CTraceScope*>(scope)->Result(message, code); });
    }
}

extern "C" __attribute__((visibility("default"))) void ridgex_trace_result(void* scope,
                                                                           const char* message,
                                                                           uint32_t code) {
    ridgex_trace_error(scope, message, code);
}
