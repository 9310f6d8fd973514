// The one way in which the library starts a thread of its own.
#pragma once

#include <cstdint>

// Starts a detached thread that runs proc(arg) and returns once that thread
// is running, with its thread id (platform::current_thread_id as seen on it).
// 0 if no thread was started; `proc` then never runs and `arg` stays with the
// caller.
uint32_t spawn_thread(void (*proc)(void*), void* arg);
