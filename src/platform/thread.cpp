#include "platform/thread.h"

#include <sched.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include "platform/syscalls.h"

namespace platform {

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

bool start_detached_thread(void* (*start)(void*), void* arg) {
    return syscalls().start_thread(start, arg) == 0;
}

}  // namespace platform
