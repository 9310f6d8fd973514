// The recursive lock behind lock_object_t: the thread that holds it may
// enter again, and each lock needs its unlock.
#pragma once

#include <cstdint>

namespace platform {

struct recursive_mutex;

// Allocated with the throwing allocator: no memory ends the owner's
// construction.
recursive_mutex* create_recursive_mutex();
void destroy_recursive_mutex(recursive_mutex* mutex);
void lock_mutex(recursive_mutex* mutex);
// Like lock_mutex, but gives up after `ms` milliseconds; true if it locked.
bool lock_mutex_for(recursive_mutex* mutex, uint32_t ms);
void unlock_mutex(recursive_mutex* mutex);

}  // namespace platform
