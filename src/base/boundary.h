// Where control leaves the library for code that knows nothing of C++
// exceptions: a client's call returning, a backend's or a closed library's
// thread calling back. The only exception the library's own code raises is
// the failure of the throwing allocator; none may pass such a point.
#pragma once

#include <new>
#include <type_traits>

#include "ridgex.h"

// Runs `body` and gives its result. An exception becomes a status instead:
// RIDGEX_E_NO_MEMORY when memory ran out, else RIDGEX_E_FAILURE. A body
// without a result simply ends.
template <typename Body>
auto AtBoundary(Body&& body) noexcept -> decltype(body()) {
    using result_t = decltype(body());
    static_assert(std::is_void_v<result_t> || std::is_same_v<result_t, ridgex_result>);
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
