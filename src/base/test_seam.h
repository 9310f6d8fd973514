// Points where a test may hold a thread while it holds a lock of the
// library. In the shipped library the hook is null and each point costs a
// load and a branch that is never taken.
#pragma once

#include <atomic>

enum class seam_point { is_valid, rel_ref, insert, trace_record };

// Hidden like every symbol of the library: only code linked with its
// objects (the tests) can set it.
inline std::atomic<void (*)(seam_point)> seam_hook{nullptr};

inline void PassSeam(seam_point point) {
    if (auto* hook = seam_hook.load(std::memory_order_relaxed); hook != nullptr) [[unlikely]] {
        hook(point);
    }
}
