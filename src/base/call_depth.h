// Where the calling thread stands towards the library, for the two calls a
// signal handler may make (ridgex_cancel, ridgex_close). A thread that is
// inside the library may hold any of its locks, or be in the middle of an
// allocation or a backend call; a handler that interrupts it must neither
// wait for another thread nor free, allocate or trace.
#pragma once

#include <cstdint>

namespace call_depth {

// Entries into the library open on this thread: every export, the closed
// library's callback and the library's own threads pass through AtBoundary,
// which counts here, so this is not 0 while the thread is anywhere inside the
// library, backends included. The client's callback runs with it set back
// to 0. Counting at the entries rather than in every trace scope keeps the
// scope, which nearly every function opens, as cheap as before.
// Initial-exec: no allocation on first use, also in a loaded library.
inline thread_local uint32_t inside __attribute__((tls_model("initial-exec"))) = 0;

// Cancels and closes running on this thread that started while it was
// already inside the library: only a signal handler can make such a call.
inline thread_local uint32_t interrupting __attribute__((tls_model("initial-exec"))) = 0;

inline bool Interrupting() {
    return interrupting != 0;
}

// Counts one entry for its lifetime.
class entered_t {
  public:
    entered_t() { ++inside; }
    ~entered_t() { --inside; }
    entered_t(const entered_t&) = delete;
    entered_t& operator=(const entered_t&) = delete;
};

}  // namespace call_depth
