// Events and the wait on them, sleeping and clocks.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <thread>

#include "platform/clock.h"
#include "platform/event.h"
#include "platform/thread.h"
#include "support/signal_poker.h"
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

    // A cancel may run in a signal handler; the calls must leave errno as the
    // interrupted code had it, though reading an empty event gives EAGAIN.
    errno = EDOM;
    platform::event_reset(raced);
    EXPECT_EQ(platform::wait_any(&raced, 1, 30), platform::wait_timed_out);
    EXPECT_EQ(errno, EDOM);
    platform::event_close(raced);
    platform::event_close(set);
}

using std::chrono::milliseconds;
using std::chrono::steady_clock;

TEST(Clocks, SleepLastsThroughSignalsTickCountsMsLocalTimeHasSystemtimeFields) {
    signal_poker poker;
    std::atomic<int64_t> slept_ms{0};
    std::atomic<uint32_t> ticks{0};
    std::thread sleeper([&] {
        const auto start = steady_clock::now();
        const uint32_t before = platform::tick_count();
        platform::sleep_ms(150);
        ticks = platform::tick_count() - before;
        slept_ms = std::chrono::duration_cast<milliseconds>(steady_clock::now() - start).count();
    });
    poker.poke(sleeper.native_handle(), milliseconds(100));
    sleeper.join();
    EXPECT_GE(slept_ms.load(), 150);
    EXPECT_GE(ticks.load(), 140u);  // the coarse clock moves in steps of a few ms
    EXPECT_LT(ticks.load(), 10000u);

    const time_t now = time(nullptr);
    tm expected;
    localtime_r(&now, &expected);
    const platform::local_time_t local = platform::local_time();
    EXPECT_EQ(local.year, expected.tm_year + 1900);
    EXPECT_EQ(local.month, expected.tm_mon + 1);
    EXPECT_EQ(local.day_of_week, expected.tm_wday);
    EXPECT_EQ(local.day, expected.tm_mday);
    EXPECT_LT(local.milliseconds, 1000);
}

}  // namespace
