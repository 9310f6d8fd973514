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

}  // namespace
