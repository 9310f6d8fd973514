#include "trace/trace_scope.h"

namespace SlvTraceNS {

// Tracing output is not wired up yet: scopes cost nothing and write nothing.
CTraceScope::CTraceScope(const char*, int32_t) : name_{}, level_(0) {}
CTraceScope::~CTraceScope() = default;
void CTraceScope::Message(const char*, ...) {}
void CTraceScope::Result(const char*, uint32_t) {}

}  // namespace SlvTraceNS
