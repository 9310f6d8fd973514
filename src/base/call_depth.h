// Where the calling thread stands towards the library, for the two calls a
// signal handler may make (ridgex_cancel, ridgex_close). A thread that is
// inside the library may hold any of its locks, or be in the middle of an
// allocation or a backend call; a handler that interrupts it must neither
// wait for another thread nor free, allocate or trace.
#pragma once

#include <cstdint>

namespace call_depth {

// Trace scopes open on this thread: every function of the library opens one
// first, so this is not 0 while the thread is anywhere inside the library,
// backends included. The client's callback runs with it set back to 0.
// Initial-exec: no allocation on first use, also in a loaded library.
inline thread_local uint32_t inside __attribute__((tls_model("initial-exec"))) = 0;

// Cancels and closes running on this thread that started while it was
// already inside the library: only a signal handler can make such a call.
inline thread_local uint32_t interrupting __attribute__((tls_model("initial-exec"))) = 0;

inline bool Interrupting() {
    return interrupting != 0;
}

}  // namespace call_depth
