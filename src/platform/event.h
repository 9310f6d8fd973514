// Events that one wait consumes, and the wait on several of them in priority
// order. An event is a descriptor; -1 stands for "no event" and is accepted
// everywhere. All of it is async-signal-safe and allocates nothing, which is
// what lets a cancel run inside a signal handler.
#pragma once

#include <cstdint>

namespace platform {

constexpr uint32_t wait_forever = 0xFFFFFFFFu;
constexpr int wait_timed_out = 257;
constexpr int wait_failed = -1;
// The most events that one wait takes, as on Windows.
constexpr int max_wait_events = 64;

// A new event, not set, non-blocking and closed on exec; -1 on failure.
int event_create();
// Sets the event; setting a set event changes nothing.
void event_set(int event);
// Clears the event.
void event_reset(int event);
void event_close(int event);

// Waits until one of `count` events is set, at most `timeout_ms`
// milliseconds (wait_forever for no limit). Of those set, the lowest index
// wins and only that event is consumed. A signal handler that interrupts the
// wait does not end it. Gives the index, wait_timed_out, or wait_failed, also
// for a count out of range or any event that is -1 or not open.
int wait_any(const int* events, int count, uint32_t timeout_ms);

}  // namespace platform
