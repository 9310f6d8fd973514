#include "base/queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

namespace {

TEST(Queue, HoldsOneItemLessThanItsSlotsAndWraps) {
    queue_t<int, 10> queue;
    int items[12];
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
    // The read index wrapped too; the ring is usable again.
    EXPECT_TRUE(queue.Push(&items[11]));
    ASSERT_TRUE(queue.Pop(out));
    EXPECT_EQ(out, &items[11]);
}

TEST(Queue, PopOnEmptyLeavesTheOutputAlone) {
    queue_t<int, 10> queue;
    int marker = 0;
    int* out = &marker;
    EXPECT_FALSE(queue.Pop(out));
    EXPECT_EQ(out, &marker);
}

TEST(Queue, ItemsFromSeveralProducersArriveOnceEach) {
    constexpr int kPerProducer = 5000;
    queue_t<int, 10> queue;
    std::vector<int> items(2 * kPerProducer);
    auto produce = [&](int first) {
        for (int i = first; i < first + kPerProducer; ++i) {
            while (!queue.Push(&items[i])) {
                std::this_thread::yield();
            }
        }
    };
    std::thread a(produce, 0), b(produce, kPerProducer);
    std::vector<int> seen(items.size(), 0);
    for (size_t received = 0; received < items.size();) {
        int* out;
        if (queue.Pop(out)) {
            ++seen[out - items.data()];
            ++received;
        } else {
            std::this_thread::yield();
        }
    }
    a.join();
    b.join();
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), static_cast<long>(items.size()));
}

}  // namespace
