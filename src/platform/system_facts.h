// Facts about the machine and the process that a trace file's head records.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

// The kernel's release numbers, such as 6 and 1 for "6.1.0-18-amd64"; both
// 0 when they cannot be read.
void kernel_version(int* major, int* minor);

// The machine's host name, "" if unknown.
std::string machine_name();

// The login session of this process (its session id), 0 if unknown.
uint32_t session_id();

}  // namespace platform
