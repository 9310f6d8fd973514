#include "base/queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

namespace {

TEST(Queue, HoldsOneItemLessThanItsSlotsAndWraps) {
    queue_t<int, 10> queue;
    int items[11];
    for (int i = 0; i < 9; ++i) {
        EXPECT_TRUE(queue.Push(&items[i])) << i;
    }
    EXPECT_FALSE(queue.Push(&items[9]));
    int* out = nullptr;
    ASSERT_TRUE(queue.Pop(out));
    EXPECT_EQ(out, &items[0]);
    EXPECT_TRUE(queue.Push(&items[9]));  // the write index wraps from 9 to 0
    EXPECT_FALSE(queue.Push(&items[10]));
    for (int i = 1; i <= 9; ++i) {
        ASSERT_TRUE(queue.Pop(out));
        EXPECT_EQ(out, &items[i]);
    }
    int* untouched = &items[10];
    out = untouched;
    EXPECT_FALSE(queue.Pop(out));
    EXPECT_EQ(out, untouched);
}

TEST(Queue, ItemsFromTwoProducersArriveOnceEach) {
    constexpr int kEach = 5000;
    queue_t<int, 10> queue;
    std::vector<int> items(2 * kEach), seen(2 * kEach, 0);
    auto produce = [&](int first) {
        for (int i = first; i < first + kEach; ++i) {
            while (!queue.Push(&items[i])) {
                std::this_thread::yield();
            }
        }
    };
    std::thread a(produce, 0), b(produce, kEach);
    for (int received = 0; received < 2 * kEach;) {
        int* out;
        if (queue.Pop(out)) {
            ++seen[out - items.data()];
            ++received;
        }
    }
    a.join();
    b.join();
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), 2 * kEach);
}

}  // namespace
