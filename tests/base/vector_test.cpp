#include "base/vector.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <new>
#include <vector>

#include "support/syscall_override.h"

namespace {

// An item that counts its constructions and destructions, cannot be copied
// (the vector must relocate it bitwise) and starts with a known value.
struct tracked_t {
    static inline int alive = 0;
    static inline int destroyed = 0;
    static inline bool fail_next_construction = false;

    tracked_t() {
        if (fail_next_construction) {
            fail_next_construction = false;
            throw std::bad_alloc();
        }
        ++alive;
    }
    ~tracked_t() {
        --alive;
        ++destroyed;
    }
    tracked_t(const tracked_t&) = delete;
    tracked_t& operator=(const tracked_t&) = delete;

    int value = 7;
};

class VectorTest : public ::testing::Test {
  protected:
    void SetUp() override {
        tracked_t::alive = 0;
        tracked_t::destroyed = 0;
    }

    // Inserts at the end and stamps the new item with `value`.
    template <typename Vector>
    static void append(Vector& v, int value) {
        ASSERT_TRUE(v.Insert(v.count));
        v.items[v.count - 1].value = value;
    }

    template <typename Vector>
    static std::vector<int> values(const Vector& v) {
        std::vector<int> out;
        for (uint64_t i = 0; i < v.count; ++i) {
            out.push_back(v.items[i].value);
        }
        return out;
    }
};

using reader_table_t = vector_t<tracked_t, 4>;
using kept_table_t = vector_t<tracked_t, 10, item_destruction::skip>;

static_assert(default_item_destruction<void*> == item_destruction::skip);
static_assert(default_item_destruction<tracked_t> == item_destruction::run);

TEST_F(VectorTest, GrowsByItsStep) {
    reader_table_t v;
    EXPECT_EQ(v.items, nullptr);
    ASSERT_TRUE(v.Insert(0));
    EXPECT_EQ(v.count, 1u);
    EXPECT_EQ(v.capacity, 4u);
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(v.Insert(v.count));
    }
    EXPECT_EQ(v.capacity, 4u);
    ASSERT_TRUE(v.Insert(v.count));
    EXPECT_EQ(v.count, 5u);
    EXPECT_EQ(v.capacity, 8u);

    vector_t<void*, 10> pointers;
    ASSERT_TRUE(pointers.Insert(0));
    EXPECT_EQ(pointers.capacity, 10u);
    EXPECT_EQ(pointers.items[0], nullptr);  // value-initialised
}

TEST_F(VectorTest, InsertConstructsInPlaceAndShiftsTheRest) {
    reader_table_t v;
    append(v, 1);
    append(v, 2);
    append(v, 3);
    ASSERT_TRUE(v.Insert(1));
    EXPECT_EQ(values(v), (std::vector<int>{1, 7, 2, 3}));
    ASSERT_TRUE(v.Insert(0));
    EXPECT_EQ(values(v), (std::vector<int>{7, 1, 7, 2, 3}));
    EXPECT_EQ(tracked_t::alive, 5);
}

TEST_F(VectorTest, InsertBehindTheEndAppends) {
    reader_table_t v;
    append(v, 1);
    ASSERT_TRUE(v.Insert(99));
    EXPECT_EQ(values(v), (std::vector<int>{1, 7}));
}

TEST_F(VectorTest, FailedGrowthChangesNothing) {
    reader_table_t v;
    for (int i = 1; i <= 4; ++i) {
        append(v, i);
    }
    tracked_t* const block = v.items;
    {
        syscall_override no_memory(
            &platform::syscall_table::realloc, +[](void*, size_t) {
                errno = ENOMEM;
                return static_cast<void*>(nullptr);
            });
        EXPECT_FALSE(v.Insert(0));
        EXPECT_FALSE(v.Insert(4));
    }
    EXPECT_EQ(v.items, block);
    EXPECT_EQ(v.count, 4u);
    EXPECT_EQ(v.capacity, 4u);
    EXPECT_EQ(values(v), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(tracked_t::alive, 4);
    // Growth works again once memory is back.
    ASSERT_TRUE(v.Insert(0));
    EXPECT_EQ(v.capacity, 8u);
}

TEST_F(VectorTest, ThrowingConstructionLeavesTheItemsInPlace) {
    reader_table_t v;
    append(v, 1);
    append(v, 2);
    tracked_t::fail_next_construction = true;
    EXPECT_THROW(v.Insert(0), std::bad_alloc);
    EXPECT_EQ(values(v), (std::vector<int>{1, 2}));
}

TEST_F(VectorTest, RemoveDestroysAndCloses) {
    reader_table_t v;
    for (int i = 1; i <= 5; ++i) {
        append(v, i);
    }
    v.Remove(1);
    EXPECT_EQ(values(v), (std::vector<int>{1, 3, 4, 5}));
    EXPECT_EQ(tracked_t::destroyed, 1);

    v.Remove(v.count - 1);  // the last item: nothing moves
    EXPECT_EQ(values(v), (std::vector<int>{1, 3, 4}));
    EXPECT_EQ(tracked_t::destroyed, 2);
    EXPECT_EQ(v.capacity, 8u);  // the block never shrinks
}

TEST_F(VectorTest, RemoveAtOrBehindTheEndDoesNothing) {
    reader_table_t v;
    append(v, 1);
    append(v, 2);
    v.Remove(2);
    v.Remove(1000);
    EXPECT_EQ(values(v), (std::vector<int>{1, 2}));
    EXPECT_EQ(tracked_t::destroyed, 0);

    reader_table_t empty;
    empty.Remove(0);
    EXPECT_EQ(empty.count, 0u);
}

TEST_F(VectorTest, DestructionRunsOnlyWhereChosen) {
    {
        reader_table_t destroying;
        append(destroying, 1);
        append(destroying, 2);
        append(destroying, 3);
    }
    EXPECT_EQ(tracked_t::destroyed, 3);
    EXPECT_EQ(tracked_t::alive, 0);

    tracked_t::destroyed = 0;
    {
        kept_table_t keeping;
        append(keeping, 1);
        append(keeping, 2);
        keeping.Remove(0);
        EXPECT_EQ(values(keeping), (std::vector<int>{2}));
    }
    EXPECT_EQ(tracked_t::destroyed, 0);
    tracked_t::alive = 0;
}

}  // namespace
