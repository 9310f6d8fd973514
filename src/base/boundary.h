// Where control passes between the library and code that knows nothing of
// C++ exceptions: a client's call, the closed library's thread calling back,
// a thread the library starts. The only exception the library's own code
// raises is the failure of the throwing allocator; none may pass such a
// point. Each crossing also counts in the thread's call depth.
#pragma once

#include <new>
#include <type_traits>

#include "base/call_depth.h"
#include "ridgex.h"

// Runs `body` and gives its result. An exception becomes a status instead:
// RIDGEX_E_NO_MEMORY when memory ran out, else RIDGEX_E_FAILURE. A body
// without a result simply ends. The thread counts as inside the library
// while `body` runs.
template <typename Body>
auto AtBoundary(Body&& body) noexcept -> decltype(body()) {
    using result_t = decltype(body());
    static_assert(std::is_void_v<result_t> || std::is_same_v<result_t, ridgex_result>);
    const call_depth::entered_t inside;
    try {
        return body();
    } catch (const std::bad_alloc&) {
        if constexpr (!std::is_void_v<result_t>) {
            return RIDGEX_E_NO_MEMORY;
        }
    } catch (...) {
        if constexpr (!std::is_void_v<result_t>) {
            return RIDGEX_E_FAILURE;
        }
    }
}
