#include "platform/event.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <climits>
#include <ctime>

#include "platform/syscalls.h"

namespace platform {
namespace {

uint64_t monotonic_ns() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000u + static_cast<uint64_t>(now.tv_nsec);
}

// Milliseconds until `deadline`, rounded up so that a poll never ends early,
// and cut to what poll takes; a longer wait simply polls again.
int ms_left(uint64_t deadline) {
    const uint64_t now = monotonic_ns();
    if (now >= deadline) {
        return 0;
    }
    const uint64_t ms = (deadline - now + 999999u) / 1000000u;
    return ms > INT_MAX ? INT_MAX : static_cast<int>(ms);
}

}  // namespace

int event_create() {
    const long event =
        checked_call([] { return syscalls().eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC); });
    return event < 0 ? -1 : static_cast<int>(event);
}

void event_set(int event) {
    if (event < 0) {
        return;
    }
    const uint64_t one = 1;
    checked_call([&] { return syscalls().write(event, &one, sizeof(one)); });
}

void event_reset(int event) {
    if (event < 0) {
        return;
    }
    uint64_t value;
    checked_call([&] { return syscalls().read(event, &value, sizeof(value)); });
}

void event_close(int event) {
    if (event >= 0) {
        checked_call([&] { return syscalls().close(event); });
    }
}

int wait_any(const int* events, int count, uint32_t timeout_ms) {
    if (events == nullptr || count < 1 || count > max_wait_events) {
        return wait_failed;
    }
    pollfd polled[max_wait_events];
    for (int i = 0; i < count; ++i) {
        // poll skips a negative descriptor; a wait on "no event" is a failure.
        if (events[i] < 0) {
            return wait_failed;
        }
        polled[i] = pollfd{.fd = events[i], .events = POLLIN, .revents = 0};
    }
    const bool forever = timeout_ms == wait_forever;
    const uint64_t deadline = forever ? 0 : monotonic_ns() + uint64_t{timeout_ms} * 1000000u;

    for (;;) {
        const int poll_ms = forever ? -1 : ms_left(deadline);
        const long ready = checked_call(
            [&] { return syscalls().poll(polled, static_cast<nfds_t>(count), poll_ms); });
        if (ready == -EINTR) {
            continue;
        }
        if (ready < 0) {
            return wait_failed;
        }
        if (ready == 0) {
            if (ms_left(deadline) == 0) {
                return wait_timed_out;
            }
            continue;
        }
        for (int i = 0; i < count; ++i) {
            if (polled[i].revents & (POLLNVAL | POLLERR)) {
                return wait_failed;
            }
        }
        for (int i = 0; i < count; ++i) {
            if (!(polled[i].revents & POLLIN)) {
                continue;
            }
            uint64_t value;
            const long got =
                checked_call([&] { return syscalls().read(events[i], &value, sizeof(value)); });
            if (got == static_cast<long>(sizeof(value))) {
                return i;
            }
            if (got != -EAGAIN) {
                return wait_failed;
            }
            // Another waiter consumed it between poll and read: poll again.
            break;
        }
    }
}

}  // namespace platform
