#include "base/lock_object.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "platform/thread.h"
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

}  // namespace
