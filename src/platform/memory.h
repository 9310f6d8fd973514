// The library's own growing blocks, allocated through the seam table so that
// a test can make an allocation fail. Failure is a null result, never an
// exception, so that the owner can report it.
#pragma once

#include <cstddef>
#include <cstdlib>

#include "platform/syscalls.h"

namespace platform {

// Like realloc: null on failure, and the old block stays as it was.
inline void* reallocate(void* block, size_t bytes) {
    return syscalls().realloc(block, bytes);
}

// Frees a block from reallocate; null is allowed.
inline void release(void* block) {
    std::free(block);
}

}  // namespace platform
