// Locks, prioritised signals and thread start: the foundation of every wait.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include "base/lock_object.h"
#include "base/signal.h"
#include "base/spawn_thread.h"
#include "platform/thread.h"
#include "support/signal_poker.h"
#include "support/syscall_override.h"
#include "support/thread_asleep.h"

namespace {

TEST(LockObject, HolderEntersAgainAndOthersWait) {
    lock_object_t lock;
    std::atomic<uint32_t> other_id{0};
    std::atomic<bool> entered{false};
    std::thread other;
    {
        scoped_lock_t outer(lock);
        scoped_lock_t inner(lock);
        other = std::thread([&] {
            other_id = platform::current_thread_id();
            scoped_lock_t held(lock);
            entered = true;
        });
        while (other_id == 0) {
            std::this_thread::yield();
        }
        WaitAsleep(static_cast<pid_t>(other_id.load()));
        EXPECT_FALSE(entered);
    }
    other.join();
    EXPECT_TRUE(entered);
}

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

struct probe_t {
    std::atomic<uint32_t> seen_id{0};
    signal_t done;
};

// Without an event the spawner could not tell when its start record may go,
// so it starts no thread at all.
TEST(SpawnThread, GivesTheNewThreadsIdentifierOrZeroWithoutAnEvent) {
    probe_t probe;
    const uint32_t id = spawn_thread(
        [](void* arg) {
            auto* probe = static_cast<probe_t*>(arg);
            probe->seen_id = platform::current_thread_id();
            probe->done.Set();
        },
        &probe);
    EXPECT_NE(id, 0u);
    EXPECT_NE(id, platform::current_thread_id());
    signal_t* done[] = {&probe.done};
    ASSERT_EQ(wait_signal(1, done, 5000), 0);
    EXPECT_EQ(id, probe.seen_id.load());

    syscall_override no_events(
        &platform::syscall_table::eventfd, +[](unsigned int, int) {
            errno = EMFILE;
            return -1;
        });
    EXPECT_EQ(spawn_thread([](void*) { ADD_FAILURE() << "a thread ran"; }, nullptr), 0u);
}

}  // namespace
