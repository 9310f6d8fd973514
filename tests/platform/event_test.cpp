#include "platform/event.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "support/syscall_override.h"

namespace {

// None of the failed waits consumes the live event.
TEST(WaitAny, BadDescriptorOrFailedPollFails) {
    const int live = platform::event_create();
    ASSERT_GE(live, 0);
    platform::event_set(live);
    const int closed = platform::event_create();
    platform::event_close(closed);
    const int with_closed[] = {live, closed}, with_missing[] = {live, -1};
    EXPECT_EQ(platform::wait_any(with_closed, 2, 0), platform::wait_failed);
    EXPECT_EQ(platform::wait_any(with_missing, 2, 0), platform::wait_failed);
    EXPECT_EQ(platform::wait_any(with_missing, platform::max_wait_events + 1, 0),
              platform::wait_failed);
    {
        syscall_override broken_poll(
            &platform::syscall_table::poll, +[](pollfd*, nfds_t, int) {
                errno = ENOMEM;
                return -1;
            });
        EXPECT_EQ(platform::wait_any(&live, 1, platform::wait_forever), platform::wait_failed);
    }
    EXPECT_EQ(platform::wait_any(&live, 1, 0), 0);
    platform::event_close(live);
}

TEST(WaitAny, InterruptedWaitKeepsItsDeadline) {
    // The first poll is interrupted after 40 ms; the wait goes on, but only
    // for what is left of the 100 ms.
    static int second_timeout, polls;
    second_timeout = -2;
    polls = 0;
    const int event = platform::event_create();
    syscall_override interrupted_late(
        &platform::syscall_table::poll, +[](pollfd* fds, nfds_t count, int timeout) {
            if (++polls == 1) {
                ::poll(nullptr, 0, 40);
                errno = EINTR;
                return -1;
            }
            if (polls == 2) {
                second_timeout = timeout;
            }
            return ::poll(fds, count, timeout);
        });
    EXPECT_EQ(platform::wait_any(&event, 1, 100), platform::wait_timed_out);
    EXPECT_GT(second_timeout, 0);
    EXPECT_LE(second_timeout, 60);
    platform::event_close(event);
}

TEST(WaitAny, ReadyButAlreadyConsumedPollsAgain) {
    // Another waiter may consume an event between this wait's poll and read.
    // The first poll here claims every event ready, as it would look then.
    static int polls;
    polls = 0;
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

}  // namespace
