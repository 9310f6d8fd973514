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
}

TEST(Clocks, TickIsMillisecondsAndLocalTimeHasSystemtimeFields) {
    const uint32_t before = platform::tick_count();
    platform::sleep_ms(50);
    const uint32_t passed = platform::tick_count() - before;
    EXPECT_GE(passed, 40u);  // the coarse clock moves in steps of a few ms
    EXPECT_LT(passed, 1000u);

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
