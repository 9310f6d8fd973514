// The operations below the trace scope, shared by the scope and the exports.
#pragma once

#include <cstddef>
#include <cstdint>

#include "trace/trace_record.h"

namespace SlvTraceNS {

// Writes a 't' record if the date has changed since the last mark, then a
// 'T' record if the clock has moved by a millisecond; nothing otherwise.
// Called with the trace lock held.
void WriteTimeMarks();

// Builds a record of `type` with `length` bytes of `text` on the stack and
// writes it. Called with the trace lock held.
void WriteTextRecord(RecordType type, const char* text, size_t length);

// Puts tracing back as it is when the library has just been loaded: the
// output destroyed, the start values, no time mark. For tests, which load
// the library's code once per process.
void RestoreLoadState();

}  // namespace SlvTraceNS
