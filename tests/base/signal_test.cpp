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

TEST(WaitSignal, LowestSetIndexWinsOnceAndBadArgumentsConsumeNothing) {
    signal_t first, second, third;
    signal_t* list[] = {&first, &second, &third};
    second.Set();
    second.Set();  // one wake however often it is set
    third.Set();
    EXPECT_EQ(wait_signal(3, list, 0), 1);
    EXPECT_EQ(wait_signal(3, list, 0), 2);
    first.Set();
    first.Reset();
    EXPECT_EQ(wait_signal(3, list, 0), wait_signal_timed_out);

    third.Set();
    signal_t* with_null[] = {&third, nullptr};
    EXPECT_EQ(wait_signal(2, with_null, 0), -1);
    EXPECT_EQ(wait_signal(1, nullptr, 0), -1);
    EXPECT_EQ(wait_signal(0, with_null, 0), -1);
    EXPECT_EQ(wait_signal(1, with_null, 0), 0);

    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(wait_signal(1, list, 60), 257);
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(60));
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
