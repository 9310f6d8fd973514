#include "platform/thread.h"

#include <sched.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <new>

#include "platform/syscalls.h"

namespace platform {
namespace {

// pthread hands its start routine one pointer, so body and argument travel
// together in a small block that the new thread frees before it runs body.
struct thread_body {
    void (*body)(void*);
    void* arg;
};

void* run_body(void* start) {
    const thread_body copy = *static_cast<thread_body*>(start);
    delete static_cast<thread_body*>(start);
    copy.body(copy.arg);
    return nullptr;
}

}  // namespace

uint32_t current_thread_id() {
    return static_cast<uint32_t>(gettid());
}

void sleep_ms(uint32_t ms) {
    if (ms == 0) {
        sched_yield();
        return;
    }
    timespec left = {.tv_sec = static_cast<time_t>(ms / 1000),
                     .tv_nsec = static_cast<long>(ms % 1000) * 1'000'000};
    while (checked_call([&] { return nanosleep(&left, &left); }) == -EINTR) {
    }
}

bool start_detached_thread(void (*body)(void*), void* arg) {
    auto* start = new (std::nothrow) thread_body{body, arg};
    if (start == nullptr) {
        return false;
    }
    if (syscalls().start_thread(run_body, start) != 0) {
        delete start;
        return false;
    }
    return true;
}

}  // namespace platform
