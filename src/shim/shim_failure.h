// Trace lines that the built-in backend's operations share.
#pragma once

#include <cstdint>

#include "ridgex.h"
#include "trace/trace_scope.h"

// The failure line. The library's own statuses have the top bit clear and
// would leave no failure record, so the line carries the code with that bit
// set; the caller still gets the plain code.
inline ridgex_result ShimFailure(SlvTraceNS::CTraceScope& scope, ridgex_result status,
                                 const char* text = "") {
    scope.Result(text, status | 0x80000000u);
    return status;
}

// The reader an operation is about; the handle's low 32 bits identify it.
inline void TraceHandle(SlvTraceNS::CTraceScope& scope, ridgex_handle dev) {
    scope.Message("reader handle: 0x%x", static_cast<uint32_t>(reinterpret_cast<uintptr_t>(dev)));
}
