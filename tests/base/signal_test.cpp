#include "base/signal.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include "support/signal_poker.h"
#include "support/syscall_override.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr uint32_t kForever = 0xFFFFFFFFu;
constexpr int32_t kStillWaiting = -2;

milliseconds elapsed_since(steady_clock::time_point start) {
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
}

TEST(WaitSignal, LowestSetIndexWinsAndOnlyItIsConsumed) {
    signal_t first, second, third;
    signal_t* list[] = {&first, &second, &third};
    second.Set();
    third.Set();
    EXPECT_EQ(wait_signal(3, list, 0), 1);
    EXPECT_EQ(wait_signal(3, list, 0), 2);
    EXPECT_EQ(wait_signal(3, list, 0), wait_signal_timed_out);
}

TEST(WaitSignal, ZeroTimeOnClearSignalsTimesOutAtOnce) {
    signal_t first, second;
    signal_t* list[] = {&first, &second};
    const auto start = steady_clock::now();
    EXPECT_EQ(wait_signal(2, list, 0), 257);
    EXPECT_LT(elapsed_since(start), milliseconds(50));
}

TEST(WaitSignal, TimesOutAfterTheLimit) {
    signal_t idle;
    signal_t* list[] = {&idle};
    const auto start = steady_clock::now();
    EXPECT_EQ(wait_signal(1, list, 60), 257);
    EXPECT_GE(elapsed_since(start), milliseconds(60));
}

TEST(WaitSignal, SettingTwiceIsOneWakeAndResetClears) {
    signal_t event;
    signal_t* list[] = {&event};
    event.Set();
    event.Set();
    EXPECT_EQ(wait_signal(1, list, 0), 0);
    EXPECT_EQ(wait_signal(1, list, 0), 257);

    event.Set();
    event.Reset();
    EXPECT_EQ(wait_signal(1, list, 0), 257);
    event.Reset();  // resetting a clear signal is harmless
    EXPECT_EQ(wait_signal(1, list, 0), 257);
}

TEST(WaitSignal, BadArgumentsFail) {
    signal_t event;
    event.Set();
    signal_t* with_null[] = {&event, nullptr};
    EXPECT_EQ(wait_signal(2, with_null, 0), -1);
    EXPECT_EQ(wait_signal(1, nullptr, 0), -1);
    signal_t* list[] = {&event};
    EXPECT_EQ(wait_signal(0, list, 0), -1);
    EXPECT_EQ(wait_signal(-1, list, 0), -1);
    // None of the failures consumed the signal.
    EXPECT_EQ(wait_signal(1, list, 0), 0);
}

TEST(WaitSignal, FailedEventCreationGivesANullSignalThatFailsTheWait) {
    signal_t good;
    {
        syscall_override no_events(
            &platform::syscall_table::eventfd, +[](unsigned int, int) {
                errno = EMFILE;
                return -1;
            });
        signal_t broken;
        EXPECT_TRUE(broken.IsNull());
        broken.Set();
        broken.Reset();
        good.Set();
        signal_t* list[] = {&good, &broken};
        EXPECT_EQ(wait_signal(2, list, kForever), -1);
    }
    // The failed wait left the good signal set.
    signal_t* list[] = {&good};
    EXPECT_EQ(wait_signal(1, list, 0), 0);
    EXPECT_FALSE(good.IsNull());
}

TEST(WaitSignal, SetFromAnotherThreadEndsAnUnlimitedWait) {
    signal_t cancel, ready;
    std::atomic<int32_t> result{kStillWaiting};
    std::thread waiter([&] {
        signal_t* list[] = {&cancel, &ready};
        result = wait_signal(2, list, kForever);
    });
    std::this_thread::sleep_for(milliseconds(20));
    EXPECT_EQ(result.load(), kStillWaiting);
    ready.Set();
    waiter.join();
    EXPECT_EQ(result.load(), 1);
}

TEST(WaitSignal, OneSetWakesExactlyOneOfTwoWaiters) {
    signal_t shared;
    std::atomic<int32_t> results[2] = {kStillWaiting, kStillWaiting};
    auto wait = [&](int who) {
        signal_t* list[] = {&shared};
        results[who] = wait_signal(1, list, 300);
    };
    std::thread a(wait, 0), b(wait, 1);
    std::this_thread::sleep_for(milliseconds(50));
    shared.Set();
    a.join();
    b.join();
    // Both may see the event ready; the one that loses the read waits on.
    EXPECT_EQ(results[0] + results[1], 0 + 257) << results[0] << " " << results[1];
}

TEST(WaitSignal, SignalHandlerDoesNotEndTheWait) {
    signal_poker poker;
    signal_t event;
    std::atomic<int32_t> result{kStillWaiting};
    std::thread waiter([&] {
        signal_t* list[] = {&event};
        result = wait_signal(1, list, kForever);
    });
    const int before = poker.delivered();
    poker.poke(waiter.native_handle(), milliseconds(100));
    EXPECT_EQ(result.load(), kStillWaiting);
    event.Set();
    waiter.join();
    EXPECT_EQ(result.load(), 0);
    EXPECT_GT(poker.delivered(), before);
}

TEST(WaitSignal, SignalHandlerDoesNotShortenTheLimit) {
    signal_poker poker;
    signal_t event;
    std::atomic<int32_t> result{kStillWaiting};
    std::atomic<int64_t> waited_ms{0};
    std::thread waiter([&] {
        signal_t* list[] = {&event};
        const auto start = steady_clock::now();
        result = wait_signal(1, list, 150);
        waited_ms = elapsed_since(start).count();
    });
    poker.poke(waiter.native_handle(), milliseconds(100));
    waiter.join();
    EXPECT_EQ(result.load(), 257);
    EXPECT_GE(waited_ms.load(), 150);
}

}  // namespace
