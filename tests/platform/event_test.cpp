#include "platform/event.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

#include "support/syscall_override.h"

namespace {

TEST(WaitAny, ClosedOrMissingDescriptorFails) {
    const int live = platform::event_create();
    ASSERT_GE(live, 0);
    platform::event_set(live);

    int closed = platform::event_create();
    platform::event_close(closed);
    const int with_closed[] = {live, closed};
    EXPECT_EQ(platform::wait_any(with_closed, 2, 0), platform::wait_failed);

    const int with_missing[] = {live, -1};
    EXPECT_EQ(platform::wait_any(with_missing, 2, 0), platform::wait_failed);
    EXPECT_EQ(platform::wait_any(with_missing, platform::max_wait_events + 1, 0),
              platform::wait_failed);

    // None of the failed waits consumed the live event.
    EXPECT_EQ(platform::wait_any(&live, 1, 0), 0);
    platform::event_close(live);
}

TEST(WaitAny, FailedPollFails) {
    const int event = platform::event_create();
    syscall_override broken_poll(
        &platform::syscall_table::poll, +[](pollfd*, nfds_t, int) {
            errno = ENOMEM;
            return -1;
        });
    EXPECT_EQ(platform::wait_any(&event, 1, platform::wait_forever), platform::wait_failed);
    platform::event_close(event);
}

TEST(WaitAny, InterruptedPollIsResumed) {
    static int interruptions = 0;
    const int event = platform::event_create();
    platform::event_set(event);
    syscall_override interrupted_twice(
        &platform::syscall_table::poll, +[](pollfd* fds, nfds_t count, int timeout) {
            if (++interruptions <= 2) {
                errno = EINTR;
                return -1;
            }
            return ::poll(fds, count, timeout);
        });
    EXPECT_EQ(platform::wait_any(&event, 1, 1000), 0);
    EXPECT_EQ(interruptions, 3);
    platform::event_close(event);
}

TEST(WaitAny, ReadyButAlreadyConsumedPollsAgain) {
    // Another waiter may consume an event between this wait's poll and read.
    // The first poll here claims every event ready, as it would look then.
    static int polls = 0;
    const int raced = platform::event_create();
    const int set = platform::event_create();
    platform::event_set(set);
    syscall_override stale_first_poll(
        &platform::syscall_table::poll, +[](pollfd* fds, nfds_t count, int timeout) {
            if (++polls > 1) {
                return ::poll(fds, count, timeout);
            }
            for (nfds_t i = 0; i < count; ++i) {
                fds[i].revents = POLLIN;
            }
            return static_cast<int>(count);
        });
    const int events[] = {raced, set};
    EXPECT_EQ(platform::wait_any(events, 2, 1000), 1);
    EXPECT_EQ(polls, 2);

    polls = 0;
    EXPECT_EQ(platform::wait_any(&raced, 1, 30), platform::wait_timed_out);
    platform::event_close(raced);
    platform::event_close(set);
}

TEST(Event, CallsLeaveErrnoAlone) {
    // A cancel may run in a signal handler; it must not change errno under
    // the code that the signal interrupted.
    const int event = platform::event_create();
    errno = EDOM;
    platform::event_reset(event);  // reads an empty event: EAGAIN inside
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(platform::wait_any(&event, 1, 0), platform::wait_timed_out);
    EXPECT_EQ(errno, EDOM);
    platform::event_close(event);
}

TEST(Event, MissingEventIsTolerated) {
    platform::event_set(-1);
    platform::event_reset(-1);
    platform::event_close(-1);
}

}  // namespace
