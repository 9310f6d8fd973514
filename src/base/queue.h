// A bounded ring of pointers with a lock of its own, for handing items from
// one thread to another. Waking the consumer is the producer's business.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/lock_object.h"

// Holds up to N - 1 items: one slot stays free to tell full from empty. The
// lock is held only while indices move, never while an item is freed.
template <typename T, std::size_t N>
class queue_t {
    static_assert(N >= 2, "a queue_t of fewer than two slots holds nothing");

  public:
    queue_t() = default;
    virtual ~queue_t() = default;

    queue_t(const queue_t&) = delete;
    queue_t& operator=(const queue_t&) = delete;

    // False, storing nothing, when the queue is full; the item then stays with
    // the caller.
    bool Push(T* item) {
        scoped_lock_t hold(lock);
        const uint64_t next = (write_index + 1) % N;
        if (next == read_index) {
            return false;
        }
        slots[write_index] = item;
        write_index = next;
        return true;
    }

    // The oldest item; false, with `item` untouched, when the queue is empty.
    bool Pop(T*& item) {
        scoped_lock_t hold(lock);
        if (read_index == write_index) {
            return false;
        }
        item = slots[read_index];
        read_index = (read_index + 1) % N;
        return true;
    }

  private:
    lock_object_t lock;
    uint64_t write_index = 0;
    uint64_t read_index = 0;
    T* slots[N];
};
