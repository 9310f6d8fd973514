// Files and folders of the trace output. A trace file is shared by every
// process of one program: each opens it for appending, so that a write lands
// at the file's end as one step, whoever wrote last.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

// Opens or creates `path` for appending (mode 0644); `truncate` empties an
// existing file. The negative errno on failure.
int open_trace_file(const char* path, bool truncate);

// Size of the open file in bytes; 0 when it cannot be asked.
uint64_t trace_file_size(int file);

// One write at the end of the file. A short or failed write is not
// continued: the caller ignores the outcome.
void append_to_trace_file(int file, const void* data, size_t length);

void close_trace_file(int file);

// True if `path` names a folder.
bool folder_exists(const char* path);

// Creates one folder level (mode 0755). 0, or the errno of the failure.
int make_folder(const char* path);

// Says on standard error that tracing, switched on, cannot work: "ridgex:
// <what> <path>: <reason of errno `error`>".
void report_unusable(const char* what, const char* path, int error);

}  // namespace platform
