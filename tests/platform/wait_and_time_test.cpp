// Events and the wait on them, sleeping and clocks.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include "platform/clock.h"
#include "platform/event.h"
#include "platform/thread.h"
#include "support/signal_poker.h"
#include "support/syscall_override.h"

namespace {

// None of the failed waits consumes the live event. A cancel may run in a
// signal handler, so the calls leave errno as the interrupted code had it,
// though reading an empty event gives EAGAIN.
TEST(WaitAny, FailuresConsumeNothingAndErrnoIsKept) {
    const int live = platform::event_create();
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
    errno = EDOM;
    platform::event_reset(live);
    EXPECT_EQ(platform::wait_any(&live, 1, 30), platform::wait_timed_out);
    EXPECT_EQ(errno, EDOM);
    platform::event_close(live);
}

// The first poll of each wait is scripted: interrupted after 40 ms, or
// claiming every event ready; later polls go to the system.
TEST(WaitAny, PollsAgainAfterAnInterruptOrAStaleReady) {
    static int polls, second_timeout;
    static bool stale;
    syscall_override scripted(
        &platform::syscall_table::poll, +[](pollfd* fds, nfds_t count, int timeout) {
            if (++polls == 2) {
                second_timeout = timeout;
            }
            if (polls > 1) {
                return ::poll(fds, count, timeout);
            }
            if (stale) {
                for (nfds_t i = 0; i < count; ++i) {
                    fds[i].revents = POLLIN;
                }
                return static_cast<int>(count);
            }
            ::poll(nullptr, 0, 40);
            errno = EINTR;
            return -1;
        });
    // The wait goes on, but only for what is left of the 100 ms.
    polls = 0;
    stale = false;
    const int raced = platform::event_create(), set = platform::event_create();
    EXPECT_EQ(platform::wait_any(&raced, 1, 100), platform::wait_timed_out);
    EXPECT_GT(second_timeout, 0);
    EXPECT_LE(second_timeout, 60);
    // Another waiter may consume an event between this wait's poll and read.
    polls = 0;
    stale = true;
    platform::event_set(set);
    const int events[] = {raced, set};
    EXPECT_EQ(platform::wait_any(events, 2, 1000), 1);
    EXPECT_EQ(polls, 2);
    platform::event_close(raced);
    platform::event_close(set);
}

TEST(Clocks, SleepLastsThroughSignalsAndTickCountsMs) {
    signal_poker poker;
    std::atomic<uint32_t> ticks{0};
    std::thread sleeper([&] {
        const uint32_t before = platform::tick_count();
        platform::sleep_ms(150);
        ticks = platform::tick_count() - before;
    });
    poker.poke(sleeper.native_handle(), std::chrono::milliseconds(100));
    sleeper.join();
    EXPECT_GE(ticks.load(), 140u);  // the coarse clock moves in steps of a few ms
    EXPECT_LT(ticks.load(), 10000u);
}

}  // namespace
