// Thread identity, pauses and detached threads.
#pragma once

#include <cstdint>

namespace platform {

// The kernel's thread id (gettid): never 0, the same number in trace records
// and in the aggregator's thread fields. Async-signal-safe.
uint32_t current_thread_id();

// Pauses the calling thread for `ms` milliseconds, resuming after a signal
// handler until the time is up; 0 only yields the processor.
void sleep_ms(uint32_t ms);

// Runs start(arg) on a new detached thread, allocating nothing on the way.
// False if no thread was started, in which case `start` never runs.
bool start_detached_thread(void* (*start)(void*), void* arg);

}  // namespace platform
