#include "base/lock_object.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

TEST(LockObject, RecursiveAndExclusive) {
    lock_object_t lock;
    long counter = 0;  // plain on purpose: only the lock guards it
    auto add = [&] {
        for (int i = 0; i < 20000; ++i) {
            scoped_lock_t outer(lock);
            scoped_lock_t inner(lock);  // the holder enters again
            ++counter;
        }
    };
    std::thread a(add), b(add);
    a.join();
    b.join();
    EXPECT_EQ(counter, 40000);
}

// A bounded wait gives up while another thread holds the lock, and enters
// at once where the caller holds it already or nobody does.
TEST(LockObject, LockForGivesUpOnlyWhileAnotherHolds) {
    lock_object_t lock;
    ASSERT_TRUE(lock.LockFor(10));
    EXPECT_TRUE(lock.LockFor(10));
    std::thread([&] { EXPECT_FALSE(lock.LockFor(10)); }).join();
    lock.Unlock();
    lock.Unlock();
    std::thread([&] {
        EXPECT_TRUE(lock.LockFor(10));
        lock.Unlock();
    }).join();
}

}  // namespace
