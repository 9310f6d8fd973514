// A contiguous array that grows by a fixed step, with no lock of its own:
// owners walk `items` and `count` directly under their own locks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

#include "platform/memory.h"

// Whether a vector_t runs the destructor of an item that it removes, and of
// the items left in it when it is destroyed itself. By default an item with
// a destructor is destroyed; a table whose items are cleared in place and
// must not be torn down by the array names `skip`.
enum class item_destruction { run, skip };

template <typename T>
constexpr item_destruction default_item_destruction =
    std::is_trivially_destructible_v<T> ? item_destruction::skip : item_destruction::run;

// Items are moved with memmove, by Insert, Remove and the growth of the block,
// never by a copy or move constructor: a T that points into itself must
// restore such pointers after a relocation.
template <typename T, size_t step, item_destruction destruction = default_item_destruction<T>>
class vector_t {
    static_assert(step > 0, "a vector_t must grow");
    static_assert(alignof(T) <= alignof(std::max_align_t), "the block comes from realloc");

  public:
    vector_t() = default;
    virtual ~vector_t() { Free(); }

    // Destroys the items where this instantiation destroys them, frees the
    // block and leaves the vector empty, as at construction.
    void Free() {
        if constexpr (destruction == item_destruction::run) {
            for (uint64_t i = 0; i < count; ++i) {
                items[i].~T();
            }
        }
        platform::release(items);
        items = nullptr;
        count = 0;
        capacity = 0;
    }
    vector_t(const vector_t&) = delete;
    vector_t& operator=(const vector_t&) = delete;

    // Opens a slot at `position` (behind the end appends) and value-initialises
    // a T in it. False, with nothing changed, if the block cannot grow.
    bool Insert(uint64_t position) {
        if (position > count) {
            position = count;
        }
        if (count >= capacity && !Grow()) {
            return false;
        }
        T* slot = items + position;
        const uint64_t behind = count - position;
        Relocate(slot + 1, slot, behind);
        try {
            ::new (static_cast<void*>(slot)) T();
        } catch (...) {
            // Only the throwing allocator throws (a T whose lock could not be
            // allocated); the array is left as it was for its owner.
            Relocate(slot, slot + 1, behind);
            throw;
        }
        ++count;
        return true;
    }

    // Closes the slot at `position`; a position at or behind the end does
    // nothing. The block never shrinks.
    void Remove(uint64_t position) {
        if (position >= count) {
            return;
        }
        if constexpr (destruction == item_destruction::run) {
            items[position].~T();
        }
        Relocate(items + position, items + position + 1, count - position - 1);
        --count;
    }

    T* items = nullptr;
    uint64_t count = 0;
    // Always a multiple of `step`.
    uint64_t capacity = 0;

  private:
    bool Grow() {
        void* block = platform::reallocate(items, (capacity + step) * sizeof(T));
        if (block == nullptr) {
            return false;
        }
        items = static_cast<T*>(block);
        capacity += step;
        return true;
    }

    static void Relocate(T* to, const T* from, uint64_t n) {
        std::memmove(static_cast<void*>(to), static_cast<const void*>(from), n * sizeof(T));
    }
};
