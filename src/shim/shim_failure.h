// The failure line of the built-in backend. The library's own statuses have
// the top bit clear and would leave no failure record, so the line carries
// the code with that bit set; the caller still gets the plain code.
#pragma once

#include "ridgex.h"
#include "trace/trace_scope.h"

inline ridgex_result ShimFailure(SlvTraceNS::CTraceScope& scope, ridgex_result status,
                                 const char* text = "") {
    scope.Result(text, status | 0x80000000u);
    return status;
}
