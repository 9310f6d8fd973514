// A wrapper's last step: the status goes to the scope's failure line and back
// to the caller.
#pragma once

#include "ridgex.h"
#include "trace/trace_scope.h"

inline ridgex_result Reported(SlvTraceNS::CTraceScope& scope, ridgex_result status) {
    scope.Result("", status);
    return status;
}
