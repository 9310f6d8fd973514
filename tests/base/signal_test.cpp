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

TEST(WaitSignal, LowestSetIndexWinsAndOnlyItIsConsumed) {
    signal_t first, second, third;
    signal_t* list[] = {&first, &second, &third};
    second.Set();
    third.Set();
    EXPECT_EQ(wait_signal(3, list, 0), 1);
    EXPECT_EQ(wait_signal(3, list, 0), 2);
    EXPECT_EQ(wait_signal(3, list, 0), wait_signal_timed_out);
}

TEST(WaitSignal, TimeLimitGives257) {
    signal_t idle;
    signal_t* list[] = {&idle};
    auto start = steady_clock::now();
    EXPECT_EQ(wait_signal(1, list, 0), 257);
    EXPECT_LT(steady_clock::now() - start, milliseconds(50));
    start = steady_clock::now();
    EXPECT_EQ(wait_signal(1, list, 60), 257);
    EXPECT_GE(steady_clock::now() - start, milliseconds(60));
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
}

TEST(WaitSignal, BadArgumentsFailWithoutConsuming) {
    signal_t event;
    event.Set();
    signal_t* with_null[] = {&event, nullptr};
    EXPECT_EQ(wait_signal(2, with_null, 0), -1);
    EXPECT_EQ(wait_signal(1, nullptr, 0), -1);
    EXPECT_EQ(wait_signal(0, with_null, 0), -1);
    EXPECT_EQ(wait_signal(1, with_null, 0), 0);
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
        EXPECT_EQ(wait_signal(2, list, 0xFFFFFFFFu), -1);
    }
    signal_t* list[] = {&good};
    EXPECT_EQ(wait_signal(1, list, 0), 0);  // the failed wait left it set
}

TEST(WaitSignal, SignalHandlerDoesNotEndTheWait) {
    signal_poker poker;
    signal_t cancel, ready;
    std::atomic<int32_t> result{-2};
    std::thread waiter([&] {
        signal_t* list[] = {&cancel, &ready};
        result = wait_signal(2, list, 0xFFFFFFFFu);
    });
    const int before = poker.delivered();
    poker.poke(waiter.native_handle(), milliseconds(100));
    EXPECT_EQ(result.load(), -2);
    ready.Set();
    waiter.join();
    EXPECT_EQ(result.load(), 1);
    EXPECT_GT(poker.delivered(), before);
}

}  // namespace
