// The growing array and the bounded queue: growth and wrap-around.
#include <gtest/gtest.h>

#include <cerrno>
#include <new>
#include <vector>

#include "base/queue.h"
#include "base/vector.h"
#include "support/syscall_override.h"

namespace {

// Counts destructions, cannot be copied (the array must relocate it
// bitwise), starts at 7, and can be made to fail its construction.
struct item_t {
    static inline int destroyed = 0;
    static inline bool fail_construction = false;

    item_t() {
        if (fail_construction) {
            throw std::bad_alloc();
        }
    }
    ~item_t() { ++destroyed; }
    item_t(const item_t&) = delete;
    item_t& operator=(const item_t&) = delete;

    int value = 7;
};

// A table filled with the values 1..n, and the values it holds.
template <typename Vector>
void fill(Vector& v, int n) {
    for (int i = 1; i <= n; ++i) {
        ASSERT_TRUE(v.Insert(v.count));
        v.items[v.count - 1].value = i;
    }
}
template <typename Vector>
std::vector<int> values(const Vector& v) {
    std::vector<int> out;
    for (uint64_t i = 0; i < v.count; ++i) {
        out.push_back(v.items[i].value);
    }
    return out;
}

TEST(Vector, InsertGrowsByItsStepShiftsAndClamps) {
    item_t::destroyed = 0;
    vector_t<item_t, 4> v;
    fill(v, 3);
    ASSERT_TRUE(v.Insert(1));
    EXPECT_EQ(v.capacity, 4u);
    ASSERT_TRUE(v.Insert(0));
    EXPECT_EQ(v.capacity, 8u);
    ASSERT_TRUE(v.Insert(99));  // behind the end: appends
    EXPECT_EQ(values(v), (std::vector<int>{7, 1, 7, 2, 3, 7}));
    EXPECT_EQ(item_t::destroyed, 0);  // moved bitwise, never destroyed
}

TEST(Vector, FailedGrowthOrConstructionChangesNothing) {
    vector_t<item_t, 4> v;
    fill(v, 4);
    item_t* const block = v.items;
    {
        syscall_override no_memory(
            &platform::syscall_table::realloc, +[](void*, size_t) {
                errno = ENOMEM;
                return static_cast<void*>(nullptr);
            });
        EXPECT_FALSE(v.Insert(0));
    }
    EXPECT_EQ(v.items, block);
    EXPECT_EQ(v.capacity, 4u);
    item_t::fail_construction = true;
    EXPECT_THROW(v.Insert(0), std::bad_alloc);
    item_t::fail_construction = false;
    EXPECT_EQ(values(v), (std::vector<int>{1, 2, 3, 4}));
}

TEST(Vector, RemoveAndFreeDestroyOnlyWhereChosen) {
    item_t::destroyed = 0;
    {
        vector_t<item_t, 4> v;
        fill(v, 5);
        v.Remove(5);  // at or behind the end: nothing happens
        EXPECT_EQ(item_t::destroyed, 0);
        v.Remove(1);
        v.Remove(3);  // the last item
        EXPECT_EQ(values(v), (std::vector<int>{1, 3, 4}));
        EXPECT_EQ(item_t::destroyed, 2);
        EXPECT_EQ(v.capacity, 8u);  // the block never shrinks
        v.Free();
        EXPECT_EQ(item_t::destroyed, 5);
        EXPECT_EQ(v.items, nullptr);
        fill(v, 1);  // empty, and grows again from nothing
        EXPECT_EQ(values(v), std::vector<int>{1});
        EXPECT_EQ(v.capacity, 4u);
    }
    EXPECT_EQ(item_t::destroyed, 6);
    item_t::destroyed = 0;
    {
        vector_t<item_t, 10, item_destruction::skip> keeping;
        fill(keeping, 2);
        keeping.Remove(0);
        EXPECT_EQ(values(keeping), (std::vector<int>{2}));
    }
    EXPECT_EQ(item_t::destroyed, 0);
}

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

}  // namespace
