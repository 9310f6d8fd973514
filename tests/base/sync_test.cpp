// Locks, prioritised signals, thread start and the queue between threads:
// the foundation of every wait.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <thread>

#include "base/lock_object.h"
#include "base/queue.h"
#include "base/signal.h"
#include "base/spawn_thread.h"
#include "platform/thread.h"
#include "support/syscall_override.h"
#include "support/thread_asleep.h"

namespace {

TEST(LockObject, HolderEntersAgainAndOthersWait) {
    lock_object_t lock;
    std::atomic<uint32_t> other_id{0};
    std::atomic<bool> entered{false};
    lock.Lock();
    ASSERT_TRUE(lock.LockFor(10));
    std::thread([&] { EXPECT_FALSE(lock.LockFor(10)); }).join();  // a bounded wait gives up
    std::thread other([&] {
        other_id = platform::current_thread_id();
        scoped_lock_t held(lock);
        entered = true;
    });
    while (other_id == 0) {
        std::this_thread::yield();
    }
    WaitAsleep(static_cast<pid_t>(other_id.load()));
    lock.Unlock();
    EXPECT_FALSE(entered);  // still held once
    lock.Unlock();
    other.join();
    EXPECT_TRUE(entered);
    ASSERT_TRUE(lock.LockFor(10));  // free again: enters at once
    lock.Unlock();
}

TEST(WaitSignal, LowestSetIndexWinsOnceAndBadArgumentsConsumeNothing) {
    signal_t first, second, third;
    signal_t* list[] = {&first, &second, &third};
    second.Set();
    second.Set();  // one wake however often it is set
    third.Set();
    EXPECT_EQ(wait_signal(3, list, 0), 1);
    first.Set();
    first.Reset();
    signal_t* with_null[] = {&third, nullptr};
    EXPECT_EQ(wait_signal(2, with_null, 0), -1);
    EXPECT_EQ(wait_signal(1, nullptr, 0), -1);
    EXPECT_EQ(wait_signal(0, with_null, 0), -1);
    EXPECT_EQ(wait_signal(1, with_null, 0), 0);
    EXPECT_EQ(wait_signal(3, list, 0), wait_signal_timed_out);
}

// A signal without an event fails every wait on it. Without an event the
// spawner could not tell when its start record may go, so it starts no thread.
TEST(WithoutEvents, NullSignalFailsTheWaitAndNoThreadStarts) {
    signal_t good;
    good.Set();
    syscall_override no_events(
        &platform::syscall_table::eventfd, +[](unsigned int, int) {
            errno = EMFILE;
            return -1;
        });
    signal_t broken;
    EXPECT_TRUE(broken.IsNull());
    signal_t* list[] = {&good, &broken};
    EXPECT_EQ(wait_signal(2, list, 0xFFFFFFFFu), -1);
    EXPECT_EQ(wait_signal(1, list, 0), 0);  // the failed wait left it set
    EXPECT_EQ(spawn_thread([](void*) { ADD_FAILURE() << "a thread ran"; }, nullptr), 0u);
}

TEST(Queue, HoldsOneItemLessThanItsSlotsAndWraps) {
    queue_t<int, 4> queue;
    int items[5];
    int* out = nullptr;
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(queue.Push(&items[i]));
    }
    EXPECT_FALSE(queue.Push(&items[3]));
    ASSERT_TRUE(queue.Pop(out));
    EXPECT_EQ(out, &items[0]);
    EXPECT_TRUE(queue.Push(&items[3]));  // the write index wraps to the first slot
    EXPECT_FALSE(queue.Push(&items[4]));
    for (int i = 1; i <= 3; ++i) {
        ASSERT_TRUE(queue.Pop(out));
        EXPECT_EQ(out, &items[i]);
    }
    EXPECT_FALSE(queue.Pop(out));
    EXPECT_EQ(out, &items[3]);  // untouched
}

}  // namespace
