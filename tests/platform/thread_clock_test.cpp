#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <thread>

#include "platform/clock.h"
#include "platform/thread.h"
#include "support/signal_poker.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

TEST(CurrentThreadId, IsTheKernelsThreadId) {
    // On the process's first thread the thread id is the process id.
    EXPECT_EQ(platform::current_thread_id(), static_cast<uint32_t>(getpid()));
    std::atomic<uint32_t> other{0};
    std::thread([&] { other = platform::current_thread_id(); }).join();
    EXPECT_NE(other.load(), 0u);
    EXPECT_NE(other.load(), platform::current_thread_id());
}

TEST(StartDetachedThread, RunsTheBodyWithItsArgument) {
    std::atomic<int> value{0};
    ASSERT_TRUE(platform::start_detached_thread(
        [](void* arg) { static_cast<std::atomic<int>*>(arg)->store(5); }, &value));
    const auto end = steady_clock::now() + milliseconds(5000);
    while (value.load() == 0 && steady_clock::now() < end) {
        platform::sleep_ms(1);
    }
    EXPECT_EQ(value.load(), 5);
}

TEST(SleepMs, SleepsTheWholeTimeThroughSignals) {
    signal_poker poker;
    std::atomic<int64_t> slept_ms{0};
    std::thread sleeper([&] {
        const auto start = steady_clock::now();
        platform::sleep_ms(150);
        slept_ms = std::chrono::duration_cast<milliseconds>(steady_clock::now() - start).count();
    });
    poker.poke(sleeper.native_handle(), milliseconds(100));
    sleeper.join();
    EXPECT_GE(slept_ms.load(), 150);
    platform::sleep_ms(0);  // only yields
}

TEST(TickCount, FollowsTheMonotonicClockInMilliseconds) {
    const uint32_t before = platform::tick_count();
    platform::sleep_ms(50);
    const uint32_t passed = platform::tick_count() - before;  // wraps correctly
    // The coarse clock moves in steps of a few milliseconds.
    EXPECT_GE(passed, 40u);
    EXPECT_LT(passed, 1000u);
}

TEST(LocalTime, MatchesTheCalendarFieldsOfSystemtime) {
    const time_t now = time(nullptr);
    tm expected;
    localtime_r(&now, &expected);
    const platform::local_time_t local = platform::local_time();
    EXPECT_EQ(local.year, expected.tm_year + 1900);
    EXPECT_EQ(local.month, expected.tm_mon + 1);
    EXPECT_EQ(local.day_of_week, expected.tm_wday);
    EXPECT_EQ(local.day, expected.tm_mday);
    EXPECT_LT(local.hour, 24);
    EXPECT_LT(local.minute, 60);
    EXPECT_LT(local.second, 60);
    EXPECT_LT(local.milliseconds, 1000);
    static_assert(sizeof(platform::local_time_t) == 16, "eight 16-bit fields, as SYSTEMTIME");
}

}  // namespace
