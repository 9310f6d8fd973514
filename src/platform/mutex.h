// The recursive lock behind lock_object_t: the thread that holds it may
// enter again, and each lock needs its unlock.
#pragma once

namespace platform {

struct recursive_mutex;

// Allocated with the throwing allocator: no memory ends the owner's
// construction.
recursive_mutex* create_recursive_mutex();
void destroy_recursive_mutex(recursive_mutex* mutex);
void lock_mutex(recursive_mutex* mutex);
void unlock_mutex(recursive_mutex* mutex);

}  // namespace platform
