// Fails one chosen allocation of the library's own code. The test program is
// linked with --wrap for malloc, calloc, realloc and both forms of operator
// new and operator new[], which redirects the calls of the objects linked
// into it (the library's and the test's) and leaves every shared library
// alone: the simulators, the C++ runtime and the C library allocate as they
// always do.
#pragma once

#include <cstdint>

namespace failing_allocator {

// From now on allocations are counted, on every thread, and the `fail_at`th
// (from 1) fails: null, or std::bad_alloc from the throwing operator new.
// 0 fails none.
void Arm(uint64_t fail_at);
// Stops counting; gives how many allocations were counted.
uint64_t Disarm();

}  // namespace failing_allocator
