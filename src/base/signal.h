// Events and the wait on several of them. Everything here is
// async-signal-safe and allocates nothing, so a cancel may run in a signal
// handler.
#pragma once

#include <cstdint>

#include "platform/event.h"

// An unnamed event that starts clear, stays set until one wait consumes it,
// and is set whether or not anyone waits. If the event could not be created
// the signal is null: Set and Reset do nothing and a wait on it fails.
class signal_t {
  public:
    signal_t() : event(platform::event_create()) {}
    virtual ~signal_t() { platform::event_close(event); }

    signal_t(const signal_t&) = delete;
    signal_t& operator=(const signal_t&) = delete;

    void Set() { platform::event_set(event); }
    void Reset() { platform::event_reset(event); }
    bool IsNull() const { return event < 0; }

  private:
    friend int32_t wait_signal(int32_t count, signal_t** signals, uint32_t timeout);

    int event;
};

inline constexpr int32_t wait_signal_timed_out = platform::wait_timed_out;

// Waits for the first of `count` signals; the order of `signals` is a
// priority order. Gives the index of the signal that ended the wait (when
// several are set the lowest index wins and only it is consumed), 257 when
// `timeout` milliseconds pass first (0xFFFFFFFF waits without a limit), or -1
// on failure, also for a null pointer or a null signal among them. A signal
// handler that runs during the wait does not end it. Async-signal-safe;
// nothing is allocated.
int32_t wait_signal(int32_t count, signal_t** signals, uint32_t timeout);
