#include "failing_allocator.h"

#include <atomic>
#include <cstddef>
#include <new>

namespace failing_allocator {
namespace {

std::atomic<bool> armed{false};
std::atomic<uint64_t> counted{0};
std::atomic<uint64_t> failing{0};

bool Fails() {
    return armed.load(std::memory_order_relaxed) && ++counted == failing.load();
}

}  // namespace

void Arm(uint64_t fail_at) {
    counted = 0;
    failing = fail_at;
    armed = true;
}

uint64_t Disarm() {
    armed = false;
    return counted;
}

}  // namespace failing_allocator

using failing_allocator::Fails;

extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
void* __real__Znwm(size_t size);
void* __real__Znam(size_t size);
void* __real__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag);
void* __real__ZnamRKSt9nothrow_t(size_t size, const std::nothrow_t& tag);

void* __wrap_malloc(size_t size) {
    return Fails() ? nullptr : __real_malloc(size);
}
void* __wrap_calloc(size_t count, size_t size) {
    return Fails() ? nullptr : __real_calloc(count, size);
}
void* __wrap_realloc(void* block, size_t size) {
    return Fails() ? nullptr : __real_realloc(block, size);
}
void* __wrap__Znwm(size_t size) {
    if (Fails()) {
        throw std::bad_alloc();
    }
    return __real__Znwm(size);
}
void* __wrap__Znam(size_t size) {
    if (Fails()) {
        throw std::bad_alloc();
    }
    return __real__Znam(size);
}
void* __wrap__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) {
    return Fails() ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}
void* __wrap__ZnamRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) {
    return Fails() ? nullptr : __real__ZnamRKSt9nothrow_t(size, tag);
}
}
